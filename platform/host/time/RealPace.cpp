// SPDX-License-Identifier: MIT
#include "platform/host/time/RealPace.h"

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/Worker.h"
#include "platform/host/time/FiredTask.h"
#include "platform/host/time/NoWait.h"
#include "platform/host/time/SemaphoreWait.h"
#include "platform/host/time/TaskThread.h"

namespace orvane::host {

using platform::HostTime;

namespace {

class ThreadTrigger final : public platform::Trigger {
 public:
  ThreadTrigger(std::shared_ptr<TaskThread> thread, platform::Worker::Task task)
      : mThread(std::move(thread)), mTask(std::make_shared<FiredTask>(std::move(task))) {
    mThread->addTrigger(mTask);
  }
  ~ThreadTrigger() override { mThread->removeTrigger(*mTask); }

  void fire() override {
    if (mTask->fire()) mThread->wake();
  }

 private:
  const std::shared_ptr<TaskThread> mThread;
  const std::shared_ptr<FiredTask> mTask;
};

class ThreadWorker final : public platform::Worker {
 public:
  explicit ThreadWorker(std::shared_ptr<TaskThread> thread) : mThread(std::move(thread)) {}
  ~ThreadWorker() override { mThread->quit(); }

  void repeatAt(HostTime first, Repetition task) override { mThread->repeatAt(first, std::move(task)); }
  void cancel() override { mThread->cancel(); }
  std::unique_ptr<platform::Trigger> makeTrigger(Task task) override {
    return std::make_unique<ThreadTrigger>(mThread, std::move(task));
  }

 private:
  const std::shared_ptr<TaskThread> mThread;
};

class SemaphoreWaiter final : public platform::Waiter {
 public:
  explicit SemaphoreWaiter(const SteadyClock& clock) : mClock(clock) { sem_init(&mSemaphore, 0, 0); }
  ~SemaphoreWaiter() override { sem_destroy(&mSemaphore); }
  SemaphoreWaiter(const SemaphoreWaiter&) = delete;
  SemaphoreWaiter& operator=(const SemaphoreWaiter&) = delete;

  void signal() override {
    mSignals.fetch_add(1, std::memory_order_release);
    sem_post(&mSemaphore);
  }

  bool wait(HostTime limit) override {
    forbidInsideNoWait("a wait");
    std::optional<HostTime> end;
    if (limit < forever / 2) end = mClock.systemTime(mClock.now()) + std::max(limit, HostTime::zero());
    const bool signalled = waitForSemaphore(mSemaphore, end);
    // Pairs with the release in `signal`. The semaphore itself also orders memory accesses, but not every race checker
    // knows that.
    mSignals.load(std::memory_order_acquire);
    return signalled;
  }

 private:
  const SteadyClock mClock;
  sem_t mSemaphore{};
  std::atomic<std::uint64_t> mSignals = 0;
};

}  // namespace

RealPace::RealPace(std::shared_ptr<platform::Log> log) : mLog(std::move(log)) {}

std::unique_ptr<platform::Worker> RealPace::makeWorker(const std::string& name, Priority priority) {
  std::function<void()> prologue = [] {};
  if (priority == Priority::realTime) prologue = [this] { requestRealTime(); };
  return std::make_unique<ThreadWorker>(TaskThread::start(mClock, name, std::move(prologue)));
}

std::unique_ptr<platform::Waiter> RealPace::makeWaiter() {
  return std::make_unique<SemaphoreWaiter>(mClock);
}

void RealPace::requestRealTime() {
  // Higher than ordinary threads, and lower than the threads of the kernel and of a sound server.
  constexpr int priority = 20;
  sched_param parameters{};
  parameters.sched_priority = priority;
  const int error = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
  if (error != 0 && !mRefusalLogged.exchange(true)) {
    mLog->write(platform::LogLevel::notice,
                std::string("The system refused real-time priority (") + std::strerror(error) +
                    "); slices may come late. Allow it with an rtprio limit for this user.");
  }
}

}  // namespace orvane::host
