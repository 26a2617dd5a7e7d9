// SPDX-License-Identifier: MIT

// Calls of the system that tests cannot make fail: this program has its own in front of them.

#include <gmock/gmock.h>
#include <pthread.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/host/HostLog.h"
#include "platform/host/time/RealPace.h"

extern "C" int pthread_setschedparam(pthread_t, int, const sched_param*) noexcept {
  return EPERM;
}

namespace orvane::host {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST(RealPace, GoesOnWithoutRealTimePriorityAndSaysSoOnce) {
  const auto log = std::make_shared<HostLog>();
  std::vector<std::string> lines;
  log->setSink([&](platform::LogLevel level, std::string_view line) {
    EXPECT_EQ(level, platform::LogLevel::notice);
    lines.emplace_back(line);
  });
  RealPace pace(log);
  const auto waiter = pace.makeWaiter();
  for (int made = 0; made < 3; ++made) {
    const auto worker = pace.makeWorker("device", platform::Scheduler::Priority::realTime);
    worker->post([&] { waiter->signal(); });
    EXPECT_TRUE(waiter->wait(10s));
  }
  EXPECT_THAT(lines, ElementsAre(testing::HasSubstr("refused real-time priority (Operation not permitted)")));
}

}  // namespace
}  // namespace orvane::host
