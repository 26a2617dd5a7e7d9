#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>

#include "platform/host/FastPace.h"
#include "platform/host/HostLog.h"
#include "platform/host/RealPace.h"

namespace orvane::host {
namespace {

using namespace std::chrono_literals;
using platform::HostTime;
using platform::Scheduler;
using platform::Waiter;

/// Three workers that post to each other, at due times that collide; gives what ran, where, and when.
std::string traceOfExchange(Scheduler& scheduler, const std::array<int, 3>& order) {
  std::string trace;
  std::array<std::unique_ptr<platform::Worker>, 3> workers;
  for (auto& each : workers) each = scheduler.makeWorker("exchange");
  const std::unique_ptr<Waiter> done = scheduler.makeWaiter();
  int left = 3 * 2 * 2;  // Three chains; each task posts to both other workers, two generations deep.
  std::function<void(int, int)> run = [&](int self, int depth) {
    const HostTime now = scheduler.clock().now();
    trace += std::to_string(self) + "@" + std::to_string(now.count()) + " ";
    for (int step = 1; depth > 0 && step < 3; ++step) {
      const int next = (self + step) % 3;
      const HostTime due = now + (step == 1 ? 5ms : 0ms);
      workers[static_cast<std::size_t>(next)]->postAt(due, [&run, next, depth] { run(next, depth - 1); });
    }
    if (depth == 0 && --left == 0) done->signal();
  };
  for (const int first : order) workers[static_cast<std::size_t>(first)]->post([&run, first] { run(first, 2); });
  EXPECT_TRUE(done->wait(1s));
  return trace;
}

TEST(FastPace, WorkersThatPostToEachOtherTakeTheSameCourseAtEveryRun) {
  std::array<int, 3> order{0, 1, 2};
  do {
    std::vector<std::string> traces;
    for (int run = 0; run < 20; ++run) {
      FastPace scheduler;
      traces.push_back(traceOfExchange(scheduler, order));
    }
    EXPECT_GT(traces.front().size(), 100U);
    for (const std::string& trace : traces) EXPECT_EQ(trace, traces.front());
  } while (std::next_permutation(order.begin(), order.end()));
}

class AtFastPace : public testing::Test {
 protected:
  FastPace pace;
  Scheduler& scheduler = pace;
  const std::unique_ptr<Waiter> waiter = scheduler.makeWaiter();
};

TEST_F(AtFastPace, TimeStandsStillWhileTheCallerWorksAndTheTaskThatSignalledIsDone) {
  const auto ticks = scheduler.makeWorker("ticks");
  int count = 0;
  ticks->repeatAt(scheduler.clock().now(), [&] {
    if (count % 10 == 9) {
      waiter->signal();
      std::this_thread::sleep_for(10us);
    }
    ++count;
    return scheduler.clock().now() + 1ms;
  });
  EXPECT_EQ(scheduler.clock().now(), 1s);
  for (int round = 1; round <= 200; ++round) {
    ASSERT_TRUE(waiter->wait(Waiter::forever));
    std::this_thread::yield();
    ASSERT_EQ(count, round * 10);
    ASSERT_EQ(scheduler.clock().now(), 1s + (round * 10 - 1) * 1ms);
  }
  EXPECT_FALSE(waiter->wait(0ms));
}

TEST_F(AtFastPace, TenThousandWaitsWithLimitsTakeExactlyTheirTime) {
  const auto signals = scheduler.makeWorker("signals");
  HostTime expected = scheduler.clock().now();
  for (int round = 0; round < 10000; ++round) {
    const HostTime limit(round * 7919 % 1000 + 1);
    const HostTime signal(round * 104729 % 1000 + 1);
    signals->postAt(expected + signal, [&] { waiter->signal(); });
    // Of two that are due at once the one that was posted first comes first: the signal.
    const bool signalled = signal <= limit;
    ASSERT_EQ(waiter->wait(limit), signalled) << round;
    expected += signalled ? signal : limit;
    ASSERT_EQ(scheduler.clock().now(), expected) << round;
    if (!signalled) signals->cancel();
  }
}

/// At real pace where the parameter says so, at fast pace else.
class BothPaces : public testing::TestWithParam<bool> {
 protected:
  const std::shared_ptr<Scheduler> scheduler =
      GetParam() ? std::shared_ptr<Scheduler>(std::make_shared<RealPace>(std::make_shared<HostLog>()))
                 : std::make_shared<FastPace>();
  const std::unique_ptr<Waiter> waiter = scheduler->makeWaiter();
};

TEST_P(BothPaces, TasksRunInOrderOfDueTimeThenOfPosting) {
  const auto tasks = scheduler->makeWorker("tasks");
  const HostTime start = scheduler->clock().now() + 20ms;
  std::vector<int> ran;
  const std::vector<std::pair<HostTime, int>> posted{{3ms, 5}, {1ms, 1}, {2ms, 3}, {1ms, 2}, {0ms, 0}, {2ms, 4}};
  for (const auto& [due, number] : posted) {
    tasks->postAt(start + due, [&, number = number, due = start + due] {
      EXPECT_GE(scheduler->clock().now(), due);
      ran.push_back(number);
      if (ran.size() == 6) waiter->signal();
    });
  }
  ASSERT_TRUE(waiter->wait(10s));
  EXPECT_EQ(ran, (std::vector{0, 1, 2, 3, 4, 5}));
}

TEST_P(BothPaces, ARepetitionTakesItsPlaceAmongWhatIsPostedMeanwhileUntilItEndsOrIsCancelled) {
  const auto repeated = scheduler->makeWorker("repeated");
  const HostTime start = scheduler->clock().now() + 20ms;
  std::string ran;
  repeated->postAt(start + 20ms, [&] { ran += "b"; });
  repeated->repeatAt(start, [&, step = 0]() mutable -> std::optional<HostTime> {
    EXPECT_GE(scheduler->clock().now(), start + step * 10ms);
    ran += std::to_string(step++);
    if (step == 1) repeated->post([&] { ran += "a"; });
    if (step < 5) return start + step * 10ms;
    waiter->signal();
    return std::nullopt;
  });
  ASSERT_TRUE(waiter->wait(10s));
  EXPECT_EQ(ran, "0a1b234");

  int runs = 0;
  const auto kept = std::make_shared<int>();
  repeated->repeatAt(start, [&, kept]() -> std::optional<HostTime> {
    if (++runs == 3) waiter->signal();
    return start;  // Already past: as soon as what was posted before is done.
  });
  ASSERT_TRUE(waiter->wait(10s));
  repeated->cancel();
  const int ranBefore = runs;
  EXPECT_EQ(kept.use_count(), 1) << "what a repetition holds goes with it";
  EXPECT_FALSE(waiter->wait(1ms));
  EXPECT_EQ(runs, ranBefore);
}

TEST_P(BothPaces, CancelReturnsWhenTheRunningTaskHasEndedAndNothingFollows) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> running = false;
    std::atomic<int> runs = 0;
    const auto chain = scheduler->makeWorker("chain");
    std::function<void()> link = [&] {
      running = true;
      if (++runs == 3) waiter->signal();
      std::this_thread::sleep_for(50us);
      chain->post(link);
      running = false;
    };
    chain->post(link);
    ASSERT_TRUE(waiter->wait(10s));
    chain->cancel();
    EXPECT_FALSE(running);
    const int ranBefore = runs;
    EXPECT_FALSE(waiter->wait(1ms));
    EXPECT_EQ(runs, ranBefore);
    chain->post([&] { waiter->signal(); });
    EXPECT_TRUE(waiter->wait(10s)) << "a cancelled worker takes new tasks";
  }
}

TEST_P(BothPaces, SignalsAreCountedAndLimitsKept) {
  waiter->signal();
  waiter->signal();
  EXPECT_TRUE(waiter->wait(0ms));
  EXPECT_TRUE(waiter->wait(Waiter::forever));
  const HostTime before = scheduler->clock().now();
  EXPECT_FALSE(waiter->wait(2ms));
  EXPECT_GE(scheduler->clock().now() - before, 2ms);
  EXPECT_FALSE(waiter->wait(-1ms));
}

TEST_P(BothPaces, ManyCallersPostSignalAndCancelAtOnce) {
  constexpr int callers = 4;
  constexpr int rounds = 300;
  std::atomic<int> ran = 0;
  std::vector<std::thread> threads;
  const auto shared = scheduler->makeWorker("shared");
  for (int caller = 0; caller < callers; ++caller) {
    threads.emplace_back([&] {
      const auto own = scheduler->makeWorker("own");
      const auto answered = scheduler->makeWaiter();
      for (int round = 0; round < rounds; ++round) {
        shared->post([&] {
          ++ran;
          own->post([&] { answered->signal(); });
        });
        ASSERT_TRUE(answered->wait(20s));
        own->postAt(scheduler->clock().now() + 1h, [] { FAIL(); });
        own->cancel();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ran, callers * rounds);
}

INSTANTIATE_TEST_SUITE_P(AtRealPace, BothPaces, testing::Bool());

}  // namespace
}  // namespace orvane::host
