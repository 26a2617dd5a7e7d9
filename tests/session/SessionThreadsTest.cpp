#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <set>
#include <thread>

#include "platform/Log.h"
#include "platform/Platform.h"
#include "platform/PlatformSession.h"
#include "session/OVPrimarySession.h"

namespace {

using namespace orvane::platform;

TEST(SessionThreads, ShareThePrimarySessionAndTheLogFromTheirFirstUseOn) {
  constexpr unsigned threadCount = 8, rounds = 200;
  std::atomic<bool> inside = false;
  unsigned lines = 0;
  const auto log = current().log;
  log->setSink([&](LogLevel level, std::string_view line) {
    EXPECT_FALSE(inside.exchange(true));
    std::this_thread::yield();
    if (line == "%s") ++lines;
    inside = false;
    // A sink may log a line of its own without a deadlock.
    if (level == LogLevel::error) log->write(LogLevel::notice, "after an error");
  });
  std::barrier begin(threadCount);
  std::shared_ptr<OVSession> made[threadCount];
  std::vector<std::jthread> threads;
  for (auto& session : made) {
    threads.emplace_back([&] {
      begin.arrive_and_wait();
      session = OVSession::init();
      OVSession::setImplementationType(OVSession::implementationType());
      const auto primary = OVPrimarySession::init();
      EXPECT_EQ(primary->session(), current().sessions->primary());
      primary->setAllowHFP(true);
      for (unsigned round = 0; round < rounds; ++round)
        log->write(round == 0 ? LogLevel::error : LogLevel::warning, "%s");
    });
  }
  threads.clear();
  EXPECT_EQ(lines, threadCount * rounds);
  std::set<std::uint32_t> identifiers;
  for (const auto& session : made) identifiers.insert(dynamic_cast<PlatformSession&>(*session->session()).identifier());
  EXPECT_EQ(identifiers.size(), threadCount);
  log->setSink([&](LogLevel, std::string_view) { log->setSink({}); });
  log->write(LogLevel::notice, "the sink removes itself");
}

}  // namespace
