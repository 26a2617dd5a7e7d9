// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "platform/RealTime.h"
#include "platform/host/HostLog.h"
#include "platform/host/time/FastPace.h"
#include "platform/host/time/RealPace.h"

namespace orvane::host {
namespace {

using namespace platform;
using namespace std::chrono_literals;

/// A trace of three workers that post to each other at due times that collide.
std::string traceOfExchange() {
  const std::unique_ptr<Scheduler> scheduler = std::make_unique<FastPace>();
  std::string trace;
  std::unique_ptr<Worker> workers[3];
  for (auto& each : workers) each = scheduler->makeWorker("exchange");
  std::function<void(std::size_t, int)> run = [&](std::size_t self, int depth) {
    const HostTime now = scheduler->clock().now();
    trace += std::to_string(self) + "@" + std::to_string(now.count()) + " ";
    for (const std::size_t step : {1U, 2U}) {
      if (depth == 0) continue;
      const std::size_t next = (self + step) % 3;
      workers[next]->postAt(now + (step == 1 ? 5ms : 0ms), [&run, next, depth] { run(next, depth - 1); });
    }
  };
  for (const std::size_t first : {2U, 0U, 1U}) workers[first]->post([&run, first] { run(first, 2); });
  EXPECT_FALSE(scheduler->makeWaiter()->wait(1s));
  return trace;
}

TEST(FastPace, WorkersThatPostToEachOtherTakeTheSameCourseAtEveryRun) {
  const std::string course = traceOfExchange();
  EXPECT_EQ(std::count(course.begin(), course.end(), '@'), 3 + 6 + 12);
  for (int run = 0; run < 100; ++run) EXPECT_EQ(traceOfExchange(), course);
}

class AtFastPace : public testing::Test {
 protected:
  const std::unique_ptr<Scheduler> scheduler = std::make_unique<FastPace>();
  const std::unique_ptr<Waiter> waiter = scheduler->makeWaiter();
};

TEST_F(AtFastPace, TimeStandsStillWhileTheCallerWorksAndTheTaskThatSignalledIsDone) {
  const auto ticks = scheduler->makeWorker("ticks");
  int count = 0;
  ticks->repeatAt(scheduler->clock().now(), [&] {
    if (count % 10 == 9) {
      waiter->signal();
      std::this_thread::sleep_for(10us);
    }
    ++count;
    return scheduler->clock().now() + 1ms;
  });
  for (int round = 1; round <= 200; ++round) {
    ASSERT_TRUE(waiter->wait(Waiter::forever));
    std::this_thread::yield();
    ASSERT_EQ(count, round * 10);
    ASSERT_EQ(scheduler->clock().now(), 1s + (round * 10 - 1) * 1ms);
  }
  EXPECT_FALSE(waiter->wait(0ms));
}

TEST_F(AtFastPace, WhatACallerFiredComesBeforeWhatItPostsThen) {
  const auto worker = scheduler->makeWorker("fired");
  for (int round = 0; round < 2000; ++round) {
    std::string order;
    const auto trigger = worker->makeTrigger([&] { order += "fired "; });
    trigger->fire();
    worker->post([&] { order += "posted"; });
    EXPECT_FALSE(waiter->wait(1ms));
    ASSERT_EQ(order, "fired posted") << round;
  }
}

TEST_F(AtFastPace, TenThousandWaitsWithLimitsTakeExactlyTheirTime) {
  const auto signals = scheduler->makeWorker("signals");
  HostTime expected = scheduler->clock().now();
  for (int round = 0; round < 10000; ++round) {
    const HostTime limit(round * 7919 % 1000 + 1);
    const HostTime signal(round * 104729 % 1000 + 1);
    signals->postAt(expected + signal, [&] { waiter->signal(); });
    // Of two that are due at once the one that was posted first comes first: the signal.
    const bool signalled = signal <= limit;
    ASSERT_EQ(waiter->wait(limit), signalled) << round;
    expected += signalled ? signal : limit;
    ASSERT_EQ(scheduler->clock().now(), expected) << round;
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
  for (const auto& [after, number] : {std::pair(3ms, 5), {1ms, 1}, {2ms, 3}, {1ms, 2}, {0ms, 0}, {2ms, 4}}) {
    tasks->postAt(start + after, [&, number = number, due = start + after] {
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
  const HostTime dues[] = {start, start + 10ms, start - 1ms, start + 20ms, start + 30ms};
  std::string ran;
  repeated->postAt(start + 20ms, [&] { ran += "b"; });
  repeated->repeatAt(dues[0], [&, step = 0U]() mutable -> std::optional<HostTime> {
    EXPECT_GE(scheduler->clock().now(), dues[step]);
    ran += std::to_string(step++);
    if (step == 2) repeated->post([&] { ran += "a"; });
    if (step < 5) return dues[step];
    waiter->signal();
    return std::nullopt;
  });
  ASSERT_TRUE(waiter->wait(10s));
  EXPECT_EQ(ran, "01a2b34");

  for (const bool byItself : {true, false}) {
    int runs = 0;
    bool gone = false;
    std::shared_ptr<void> held(nullptr, [&](void*) {
      gone = true;
      repeated->post([] {});
    });
    repeated->repeatAt(start, [&, held = std::move(held)]() -> std::optional<HostTime> {
      if (++runs == 3 && byItself) repeated->cancel();
      if (runs == 3) waiter->signal();
      return start;  // Long past: as soon as what was posted before is done.
    });
    ASSERT_TRUE(waiter->wait(10s));
    EXPECT_FALSE(waiter->wait(0ms));
    repeated->cancel();
    EXPECT_TRUE(gone) << "what a repetition holds goes with it, and may use the worker";
    const int ranBefore = runs;
    EXPECT_TRUE(!byItself || runs == 3);
    EXPECT_FALSE(waiter->wait(1ms));
    EXPECT_EQ(runs, ranBefore);
  }
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

TEST_P(BothPaces, ATriggerRunsItsTaskOnceForManyFiresAndNeverAfterItsEnd) {
  const auto worker = scheduler->makeWorker("triggered");
  std::atomic<int> runs = 0;
  std::unique_ptr<Trigger> trigger;
  trigger = worker->makeTrigger([&] {
    if (++runs == 2) trigger->fire();  // One that comes during the run leads to another.
    waiter->signal();
  });
  worker->post([&] {
    const RealTimeSection callback;
    for (int fire = 0; fire < 10; ++fire) trigger->fire();
  });
  ASSERT_TRUE(waiter->wait(10s));
  EXPECT_FALSE(waiter->wait(1ms)) << "ten fires count as one";
  trigger->fire();  // From a caller, while nothing waits.
  ASSERT_TRUE(waiter->wait(10s));
  ASSERT_TRUE(waiter->wait(10s));
  EXPECT_EQ(runs, 3);

  // At real pace a run may come before the cancel, or before the trigger's end; none comes after.
  const auto expectNoMoreRuns = [&] {
    const int before = runs;
    while (waiter->wait(1ms)) continue;
    EXPECT_EQ(runs, before);
  };
  trigger->fire();
  worker->cancel();
  expectNoMoreRuns();
  trigger->fire();
  trigger.reset();
  expectNoMoreRuns();

  auto ownEnd = std::make_shared<std::unique_ptr<Trigger>>();
  *ownEnd = worker->makeTrigger([&, ownEnd] {
    ownEnd->reset();
    waiter->signal();
  });
  (*ownEnd)->fire();
  EXPECT_TRUE(waiter->wait(10s)) << "a trigger may be destroyed by its own task";
}

TEST_P(BothPaces, AWorkerMayBeDestroyedByItsOwnTaskWithTheScheduler) {
  auto other = GetParam() ? std::shared_ptr<Scheduler>(std::make_shared<RealPace>(std::make_shared<HostLog>()))
                          : std::make_shared<FastPace>();
  std::shared_ptr<Waiter> done = other->makeWaiter();
  auto worker = std::shared_ptr<Worker>(other->makeWorker("own end"));
  Worker& own = *worker;
  auto trigger = own.makeTrigger([] { FAIL(); });
  own.postAt(other->clock().now() + 1h, [] { FAIL(); });
  own.post([worker = std::move(worker), other = std::move(other), done]() mutable {
    worker.reset();
    other.reset();
    done->signal();
  });
  EXPECT_TRUE(done->wait(10s));
  trigger->fire();  // Does nothing any more.
}

TEST_P(BothPaces, AWaitInsideATaskEndsTheProcessWithALine) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        const auto worker = scheduler->makeWorker("waits");
        worker->post([&] { scheduler->makeWaiter()->wait(1ms); });
        waiter->wait(10s);
      },
      "orvane: a wait inside a worker's task");
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
  std::atomic<int> ran = 0;
  const auto shared = scheduler->makeWorker("shared");
  std::vector<std::jthread> threads;
  for (int caller = 0; caller < 4; ++caller) {
    threads.emplace_back([&] {
      const auto own = scheduler->makeWorker("own");
      const auto answered = scheduler->makeWaiter();
      for (int round = 0; round < 300; ++round) {
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
  threads.clear();
  EXPECT_EQ(ran, 4 * 300);
}

INSTANTIATE_TEST_SUITE_P(AtRealPace, BothPaces, testing::Bool());

}  // namespace
}  // namespace orvane::host
