// SPDX-License-Identifier: MIT

// Calls of the system that tests cannot make fail, or see, by themselves: this program has its own in front of them.

#include <gmock/gmock.h>
#include <pthread.h>
#include <syslog.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/host/HostLog.h"
#include "platform/host/time/RealPace.h"

static std::vector<std::string> systemLog;

extern "C" void syslog(int priority, const char* format, ...) {
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  systemLog.push_back(std::to_string(priority) + " " + line);
}

extern "C" int pthread_setschedparam(pthread_t, int, const sched_param*) noexcept {
  return EPERM;
}

namespace orvane::host {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST(HostLog, WritesToTheSystemsLogUnlessItHasASink) {
  HostLog log;
  systemLog.clear();
  log.write(platform::LogLevel::error, "100%s");
  log.write(platform::LogLevel::warning, "b");
  log.setSink([](auto, auto) {});
  log.write(platform::LogLevel::notice, "unseen");
  log.setSink(nullptr);
  log.write(platform::LogLevel::notice, "c");
  EXPECT_THAT(systemLog, ElementsAre(std::to_string(LOG_ERR) + " 100%s", std::to_string(LOG_WARNING) + " b",
                                     std::to_string(LOG_NOTICE) + " c"));
}

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
