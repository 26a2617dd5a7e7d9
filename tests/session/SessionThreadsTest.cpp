#include <algorithm>
#include <atomic>
#include <barrier>
#include <set>
#include <thread>

#include "platform/host/HostLog.h"
#include "platform/host/HostSessions.h"
#include "session/OVPrimarySession.h"
#include "tests/support/ScriptedRoles.h"

namespace {

constexpr unsigned threadCount = 8;

/// Runs `work` on several threads that begin together.
template <typename Work>
void together(Work work) {
  std::barrier begin(threadCount);
  std::vector<std::jthread> threads;
  for (unsigned index = 0; index < threadCount; ++index) {
    threads.emplace_back([&begin, &work, index] {
      begin.arrive_and_wait();
      work(index);
    });
  }
}

TEST(SessionThreads, FirstUseOnManyThreadsGivesOnePrimaryAndDistinctAuxiliaries) {
  const auto sessions = std::make_shared<orvane::host::HostSessions>();
  const orvane::test::UsedPlatform used(nullptr, sessions);
  std::vector<std::shared_ptr<OVSession>> made(threadCount);
  together([&](unsigned index) {
    made[index] = OVSession::init();
    OVSession::setImplementationType(OVSession::implementationType());
    const std::shared_ptr<OVSession> primary = OVPrimarySession::init();
    EXPECT_EQ(primary->session(), sessions->primary());
    for (const auto& session : {made[index], primary}) {
      session->setCategory("Record");
      session->setMode("Raw");
      session->setAllowHFP(true);
    }
  });
  std::set<std::uint32_t> identifiers;
  for (const auto& session : made) {
    EXPECT_EQ(session->category() + session->mode(), "orvane.category.recordorvane.mode.raw");
    identifiers.insert(std::dynamic_pointer_cast<orvane::platform::PlatformSession>(session->session())->identifier());
  }
  EXPECT_EQ(identifiers.size(), threadCount);
}

TEST(SessionThreads, LogHandsLinesToItsSinkOneAtATime) {
  using orvane::platform::LogLevel;
  orvane::host::HostLog log;
  std::vector<std::string> lines;
  std::atomic<bool> inside = false;
  log.setSink([&](LogLevel level, std::string_view line) {
    EXPECT_FALSE(inside.exchange(true));
    std::this_thread::yield();
    lines.emplace_back(line);
    inside = false;
    // A sink may log a line of its own without a deadlock.
    if (level == LogLevel::error) log.write(LogLevel::notice, "after an error");
  });
  constexpr unsigned rounds = 200;
  together([&](unsigned) {
    for (unsigned round = 0; round < rounds; ++round) log.write(round == 0 ? LogLevel::error : LogLevel::warning, "%s");
  });
  EXPECT_EQ(lines.size(), threadCount * (rounds + 1));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "%s"), threadCount * rounds);
  log.setSink([&](LogLevel, std::string_view) { log.setSink({}); });
  log.write(LogLevel::notice, "the sink removes itself");
}

}  // namespace
