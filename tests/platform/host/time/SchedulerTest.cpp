// SPDX-License-Identifier: MIT

#include "platform/RealTime.h"
#include "platform/host/HostLog.h"
#include "platform/host/time/FastPace.h"
#include "platform/host/time/RealPace.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace host;
using namespace platform;

std::shared_ptr<Scheduler> makeScheduler(bool atRealPace) {
  if (atRealPace) return std::make_shared<RealPace>(std::make_shared<HostLog>());
  return std::make_shared<FastPace>();
}

/// Tests of both schedulers: for real time if the parameter is true, for simulated time if it is false.
struct BothPaces : testing::TestWithParam<bool> {
  explicit BothPaces(bool atRealPace = GetParam()) : scheduler(makeScheduler(atRealPace)) {}

  /// Waits for one millisecond and returns whether `runs` stayed the same.
  bool restsAt(const std::atomic<int>& runs) const {
    const int before = runs;
    while (waiter->wait(1ms)) continue;
    return runs == before;
  }

  const std::shared_ptr<Scheduler> scheduler;
  const std::unique_ptr<Waiter> waiter = scheduler->makeWaiter();
  const std::unique_ptr<Worker> worker = scheduler->makeWorker("worker");
};

struct AtFastPace : BothPaces {
  AtFastPace() : BothPaces(false) {}
};

TEST_F(AtFastPace, TimeStandsStillWhileTheCallerWorksAndTheTaskThatSignalledIsDone) {
  int count = 0;
  worker->repeatAt(scheduler->clock().now(), [&] {
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

TEST_F(AtFastPace, WorkersThatPostToEachOtherTakeTurnsByDueTimeThenByPosting) {
  std::unique_ptr<Worker> workers[3];
  for (auto& each : workers) each = scheduler->makeWorker("exchange");
  for (int round = 0; round < 100; ++round) {
    std::string order;
    const auto post = [&](std::size_t self, HostTime after, const std::function<void()>& next) {
      workers[self]->postAt(scheduler->clock().now() + after,
                            [&order, self, next] { order += std::to_string(self), next(); });
    };
    for (const std::size_t first : {2U, 0U, 1U})
      post(first, 0ms, [&, first] {
        post((first + 1) % 3, 5ms, [] {});
        post((first + 2) % 3, 0ms, [] {});
      });
    EXPECT_FALSE(waiter->wait(1s));
    ASSERT_EQ(order, "201120012");
  }
}

TEST_F(AtFastPace, WhatACallerFiredComesBeforeWhatItPostsThen) {
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
  HostTime expected = scheduler->clock().now();
  for (int round = 0; round < 10000; ++round) {
    const HostTime limit(round * 7919 % 1000 + 1);
    const HostTime signal(round * 104729 % 1000 + 1);
    worker->postAt(expected + signal, [&] { waiter->signal(); });
    // If the signal and the limit are due at the same time, the signal comes first, because it was posted first.
    const bool signalled = signal <= limit;
    ASSERT_EQ(waiter->wait(limit), signalled) << round;
    expected += signalled ? signal : limit;
    ASSERT_EQ(scheduler->clock().now(), expected) << round;
    if (!signalled) worker->cancel();
  }
}

TEST_P(BothPaces, TasksRunInOrderOfDueTimeThenOfPosting) {
  const HostTime start = scheduler->clock().now() + 20ms;
  std::vector<int> ran;
  for (const auto& [after, number] : {std::pair(3ms, 5), {1ms, 1}, {2ms, 3}, {1ms, 2}, {0ms, 0}, {2ms, 4}}) {
    worker->postAt(start + after, [&, number = number, due = start + after] {
      EXPECT_GE(scheduler->clock().now(), due);
      ran.push_back(number);
      if (ran.size() == 6) waiter->signal();
    });
  }
  ASSERT_TRUE(waiter->wait(10s));
  EXPECT_EQ(ran, (std::vector{0, 1, 2, 3, 4, 5}));
}

TEST_P(BothPaces, ARepetitionTakesItsPlaceAmongWhatIsPostedMeanwhileUntilItEndsOrIsCancelled) {
  const HostTime start = scheduler->clock().now() + 20ms;
  const HostTime dues[] = {start, start + 10ms, start - 1ms, start + 20ms, start + 30ms};
  std::string ran;
  worker->postAt(start + 20ms, [&] { ran += "b"; });
  worker->repeatAt(dues[0], [&, step = 0U]() mutable -> std::optional<HostTime> {
    EXPECT_GE(scheduler->clock().now(), dues[step]);
    ran += std::to_string(step++);
    if (step == 2) worker->post([&] { ran += "a"; });
    if (step < 5) return dues[step];
    waiter->signal();
    return std::nullopt;
  });
  ASSERT_TRUE(waiter->wait(10s));
  EXPECT_EQ(ran, "01a2b34");

  for (const bool byItself : {true, false}) {
    std::atomic<int> runs = 0;
    bool gone = false;
    std::shared_ptr<void> held(nullptr, [&](void*) { gone = true, worker->post([] {}); });
    worker->repeatAt(start, [&, held = std::move(held)]() -> std::optional<HostTime> {
      if (++runs == 3 && byItself) worker->cancel();
      if (runs == 3) waiter->signal();
      return start;  // Long past: as soon as what was posted before is done.
    });
    ASSERT_TRUE(waiter->wait(10s));
    EXPECT_FALSE(waiter->wait(0ms));
    worker->cancel();
    EXPECT_TRUE(gone) << "what a repetition holds goes with it, and may use the worker";
    EXPECT_TRUE(!byItself || runs == 3);
    EXPECT_TRUE(restsAt(runs));
  }
}

TEST_P(BothPaces, CancelReturnsWhenTheRunningTaskHasEndedAndNothingFollows) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> running = false;
    std::atomic<int> runs = 0;
    std::function<void()> link = [&] {
      running = true;
      if (++runs == 3) waiter->signal();
      std::this_thread::sleep_for(50us);
      worker->post(link);
      running = false;
    };
    worker->post(link);
    ASSERT_TRUE(waiter->wait(10s));
    worker->cancel();
    EXPECT_FALSE(running);
    EXPECT_TRUE(restsAt(runs));
    worker->post([&] { waiter->signal(); });
    EXPECT_TRUE(waiter->wait(10s)) << "a cancelled worker takes new tasks";
  }
}

TEST_P(BothPaces, ATriggerRunsItsTaskOnceForManyFiresAndNeverAfterItsEnd) {
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
  for (int run = 2; run <= 3; ++run) ASSERT_TRUE(waiter->wait(10s));
  EXPECT_EQ(runs, 3);

  // In real time the task may run before `cancel` or before the trigger is destroyed, but never afterwards.
  trigger->fire();
  worker->cancel();
  EXPECT_TRUE(restsAt(runs));
  trigger->fire();
  trigger.reset();
  EXPECT_TRUE(restsAt(runs));

  auto ownEnd = std::make_shared<std::unique_ptr<Trigger>>();
  *ownEnd = worker->makeTrigger([&, ownEnd] {
    ownEnd->reset();
    waiter->signal();
  });
  (*ownEnd)->fire();
  EXPECT_TRUE(waiter->wait(10s)) << "a trigger may be destroyed by its own task";
}

TEST_P(BothPaces, AWorkerMayBeDestroyedByItsOwnTaskWithTheScheduler) {
  auto other = makeScheduler(GetParam());
  std::shared_ptr<Waiter> done = other->makeWaiter();
  auto own = std::shared_ptr<Worker>(other->makeWorker("own end"));
  auto trigger = own->makeTrigger([] { FAIL(); });
  own->postAt(other->clock().now() + 1h, [] { FAIL(); });
  Worker& held = *own;
  held.post([own = std::move(own), other = std::move(other), done]() mutable {
    own.reset();
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
  std::vector<std::jthread> threads;
  for (int caller = 0; caller < 4; ++caller) {
    threads.emplace_back([&] {
      const auto own = scheduler->makeWorker("own");
      const auto answered = scheduler->makeWaiter();
      for (int round = 0; round < 300; ++round) {
        worker->post([&] {
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
}  // namespace orvane::test
