// SPDX-License-Identifier: MIT
#include "platform/host/time/HostThread.h"

#include <pthread.h>
#include <signal.h>

#include <cerrno>

#include "platform/host/HostLog.h"
#include "platform/host/time/RealPace.h"
#include "tests/support/Test.h"

/// Replaces the system's function in this program with one that always fails, because a test cannot make the system's
/// function fail.
extern "C" int pthread_setschedparam(pthread_t, int, const sched_param*) noexcept {
  return EPERM;
}

namespace orvane::test {
namespace {

using namespace host;

/// Returns which of the signals that end a run (SIGINT, SIGTERM, SIGHUP) the calling thread blocks.
std::string blockedSignals() {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  std::string names;
  for (const auto& [signal, name] : {std::pair(SIGINT, "INT "), {SIGTERM, "TERM "}, {SIGHUP, "HUP "}})
    if (sigismember(&blocked, signal) == 1) names += name;
  return names;
}

TEST(HostThread, BlocksTheSignalsThatEndARunForItselfOnly) {
  const std::string before = blockedSignals();
  std::string inside;
  startThread("a name of more than fifteen characters", [&] { inside = blockedSignals(); }).join();
  EXPECT_EQ(inside, "INT TERM HUP ");
  EXPECT_EQ(blockedSignals(), before);
}

TEST(HostThread, LeavesTheCallersSignalsAloneWhereNoThreadCanBeMade) {
  const std::string before = blockedSignals();
  pthread_attr_t usual;
  pthread_attr_t larger;
  pthread_getattr_default_np(&usual);
  pthread_attr_init(&larger);
  pthread_attr_setstacksize(&larger, std::size_t{1} << 47);  // More than there are addresses.
  ASSERT_EQ(pthread_setattr_default_np(&larger), 0);
  EXPECT_THROW(startThread("none", [] {}), std::system_error);
  EXPECT_EQ(blockedSignals(), before);
  pthread_setattr_default_np(&usual);
  pthread_attr_destroy(&larger);
  pthread_attr_destroy(&usual);
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
  EXPECT_THAT(lines, ElementsAre(HasSubstr("refused real-time priority (Operation not permitted)")));
}

}  // namespace
}  // namespace orvane::test
