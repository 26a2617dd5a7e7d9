// SPDX-License-Identifier: MIT
#include <signal.h>

#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/Scheduler.h"
#include "platform/Subscription.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace platform;

/// Tests of the event loop in real and in simulated time. The parameter is the option `pace`.
class EventLoopAt : public testing::TestWithParam<const char*> {
 protected:
  const Platform host = makeSimulatedHost(GetParam());
  EventLoop& loop = *host.eventLoop;
};

TEST_P(EventLoopAt, RunsWhatIsPostedOnTheThreadOfTheRunUntilAStop) {
  const auto worker = host.scheduler->makeWorker("posts");
  const auto self = std::this_thread::get_id();
  std::string ran;
  loop.post([&] { ran += "a"; });
  worker->post([&] {
    loop.post([&] {
      EXPECT_EQ(std::this_thread::get_id(), self);
      ran += "b";
      loop.post([&] {
        ran += "c";
        loop.post([&] { ran += "d"; });
        loop.stop();
        loop.post([&] { ran += "e"; });
      });
    });
  });
  EXPECT_EQ(loop.run(), 0);
  EXPECT_EQ(ran, "abcd") << "what was posted before the stop still runs, what came after stays";
  loop.stop();
  EXPECT_EQ(loop.run(), 0);
  EXPECT_EQ(ran, "abcde");
  loop.post([] { throw std::runtime_error("from a task"); });
  EXPECT_THROW(loop.run(), std::runtime_error);
}

TEST_P(EventLoopAt, AStopIsAStateThatTheNextRunClears) {
  for (int stop = 0; stop < 2; ++stop) loop.stop();
  EXPECT_EQ(loop.run(), 0);
  const auto worker = host.scheduler->makeWorker("stops");
  bool stopped = false;
  worker->postAt(host.scheduler->clock().now() + 20ms, [&] { stopped = true, loop.stop(); });
  EXPECT_EQ(loop.run(), 0);
  EXPECT_TRUE(stopped) << "the second of two stops must not end a later run";
}

INSTANTIATE_TEST_SUITE_P(Pace, EventLoopAt, testing::Values("pace=real", "pace=fast"),
                         [](const auto& each) { return std::string(each.param).substr(5); });

TEST(EventLoopSignals, ReachEveryHostOnceAndAreForgotten) {
  const Platform first = makeSimulatedHost();
  const Platform second = makeSimulatedHost();
  for (const Platform* host : {&first, &second}) host->eventLoop->watchSignals();
  for (const int signal : {SIGTERM, SIGHUP}) {
    kill(getpid(), signal);
    EXPECT_EQ(first.eventLoop->run(), signal);
    EXPECT_EQ(second.eventLoop->run(), signal);
    for (const Platform* host : {&first, &second}) {
      host->eventLoop->stop();
      EXPECT_EQ(host->eventLoop->run(), 0);
    }
  }
  // Notices know the signal when the run ends, and are not called after their subscription.
  std::atomic<int> seen = 0;
  {
    const Subscription notice = first.eventLoop->onSignal([&](int signal) { seen += signal; });
    kill(getpid(), SIGTERM);
    EXPECT_EQ(first.eventLoop->run(), SIGTERM);
    EXPECT_EQ(seen, SIGTERM);
    EXPECT_EQ(second.eventLoop->run(), SIGTERM);
  }
  // A destroyed host is no longer notified.
  { makeSimulatedHost().eventLoop->watchSignals(); }
  kill(getpid(), SIGINT);
  EXPECT_EQ(first.eventLoop->run(), SIGINT);
  EXPECT_EQ(seen, SIGTERM);
}

}  // namespace
}  // namespace orvane::test
