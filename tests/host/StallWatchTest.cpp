#include "platform/host/StallWatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <utility>

namespace orvane::host {
namespace {

using namespace std::chrono_literals;
using platform::HostTime;

/// A clock and a worker that a test winds by hand.
class HandTime final : public platform::Clock, public platform::Worker {
 public:
  HostTime now() const override { return mNow; }
  void post(Task task) override { postAt(mNow, std::move(task)); }
  void postAt(HostTime time, Task task) override { mTasks.emplace(time, std::move(task)); }
  void cancel() override { mTasks.clear(); }

  void passTo(HostTime time) {
    while (!mTasks.empty() && mTasks.begin()->first <= time) {
      const auto task = mTasks.extract(mTasks.begin());
      mNow = std::max(mNow, task.key());
      task.mapped()();
    }
    mNow = time;
  }
  /// Time passes in which nothing can run.
  void sleepTo(HostTime time) { mNow = time; }

 private:
  HostTime mNow = 1s;
  std::multimap<HostTime, Task> mTasks;
};

struct Watched {
  HandTime time;
  int stalls = 0;
  StallWatch watch{time, time, [this] { ++stalls; }};

  Watched() { watch.begin({48000, 1, 2, 256}); }
  void callBackAt(HostTime when) {
    time.passTo(when);
    watch.callbackBegins();
    watch.callbackEnds();
  }
};

TEST(StallWatch, CountsFromTheLastCallback) {
  Watched watched;
  watched.callBackAt(1300ms);
  watched.time.passTo(1799ms);
  EXPECT_EQ(watched.stalls, 0);
  watched.time.passTo(1800ms);
  EXPECT_EQ(watched.stalls, 1);
  watched.time.passTo(9s);
  EXPECT_EQ(watched.stalls, 1) << "said once";
}

TEST(StallWatch, TakesNothingElseForAStall) {
  Watched stopped;
  stopped.watch.end();
  stopped.time.passTo(9s);
  EXPECT_EQ(stopped.stalls, 0);

  Watched blocked;  // In a callback that waits for somebody to read a pipe, say.
  blocked.watch.callbackBegins();
  blocked.time.passTo(9s);
  blocked.watch.callbackEnds();
  blocked.time.passTo(9499ms);
  EXPECT_EQ(blocked.stalls, 0);
  blocked.time.passTo(10s);
  EXPECT_EQ(blocked.stalls, 1) << "it counts again from the end of that callback";

  Watched suspended;
  suspended.callBackAt(1100ms);
  suspended.time.sleepTo(60s);
  suspended.callBackAt(60100ms);
  suspended.time.passTo(60500ms);
  EXPECT_EQ(suspended.stalls, 0);

  Watched interrupted;
  interrupted.watch.expectSilence(5s);
  interrupted.time.passTo(5499ms);
  EXPECT_EQ(interrupted.stalls, 0);
  interrupted.time.passTo(5500ms);
  EXPECT_EQ(interrupted.stalls, 1);
}

}  // namespace
}  // namespace orvane::host
