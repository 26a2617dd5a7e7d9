#include "platform/host/StallWatch.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>

namespace orvane::host {
namespace {

using namespace std::chrono_literals;
using platform::HostTime;

/// A watch on a clock and a worker that a test winds by hand.
struct Watched final : platform::Clock, platform::Worker {
  Watched() { watch.begin({48000, 1, 2, 256}); }
  HostTime now() const override { return time; }
  void repeatAt(HostTime first, Repetition task) override { tasks.emplace(first, std::move(task)); }
  void cancel() override { tasks.clear(); }

  int stallsAt(HostTime later) {
    while (!tasks.empty() && tasks.begin()->first <= later) {
      const auto task = tasks.extract(tasks.begin());
      time = std::max(time, task.key());
      EXPECT_FALSE(task.mapped()());
    }
    time = later;
    return stalls;
  }
  void callBackAt(HostTime when) {
    stallsAt(when);
    watch.callbackBegins();
    watch.callbackEnds();
  }

  HostTime time = 1s;
  std::multimap<HostTime, Repetition> tasks;
  int stalls = 0;
  StallWatch watch{*this, *this, [this] { ++stalls; }};
};

TEST(StallWatch, TakesNeitherABlockedCallbackNorASuspendedProcessForAStall) {
  Watched blocked;  // In a callback that waits for somebody to read a pipe, say.
  blocked.watch.callbackBegins();
  EXPECT_EQ(blocked.stallsAt(9s), 0);
  blocked.watch.callbackEnds();
  EXPECT_EQ(blocked.stallsAt(9499ms), 0);
  EXPECT_EQ(blocked.stallsAt(10s), 1) << "it counts again from the end of that callback";

  Watched suspended;
  suspended.callBackAt(1100ms);
  suspended.time = 60s;  // Passes without anything that runs.
  suspended.callBackAt(60100ms);
  EXPECT_EQ(suspended.stallsAt(60599ms), 0);
  EXPECT_EQ(suspended.stallsAt(61s), 1);
}

}  // namespace
}  // namespace orvane::host
