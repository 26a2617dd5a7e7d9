// SPDX-License-Identifier: MIT
#include "platform/host/time/TaskThread.h"

#include <algorithm>

#include "platform/host/time/HostThread.h"
#include "platform/host/time/NoWait.h"
#include "platform/host/time/SemaphoreWait.h"

namespace orvane::host {

using platform::HostTime;

std::shared_ptr<TaskThread> TaskThread::start(const SteadyClock& clock, const std::string& name,
                                              std::function<void()> prologue) {
  std::shared_ptr<TaskThread> thread(new TaskThread(clock));
  // The mutex is locked, so that `mThreadId` is set before the thread runs its first task.
  const std::lock_guard lock(thread->mMutex);
  thread->mThread = startThread(name, [thread, prologue = std::move(prologue)] {
    prologue();
    thread->work();
  });
  thread->mThreadId = thread->mThread.get_id();
  return thread;
}

TaskThread::TaskThread(const SteadyClock& clock) : mClock(clock) {
  sem_init(&mWake, 0, 0);
}

TaskThread::~TaskThread() {
  sem_destroy(&mWake);
}

void TaskThread::quit() {
  cancel();
  {
    const std::lock_guard lock(mMutex);
    mQuit = true;
  }
  wake();
  joinOrDetach(mThread);
}

/// Returns the place of a new task that is due at `due` in the queue. A due time in the past counts as now, so the task
/// runs after those that are already due.
TaskThread::Place TaskThread::nextPlace(HostTime due) {
  return {std::max(due, mClock.now()), mPosted++};
}

void TaskThread::repeatAt(HostTime first, Repetition task) {
  {
    const std::lock_guard lock(mMutex);
    mTasks.emplace(nextPlace(first), Task{std::move(task)});
  }
  wake();
}

void TaskThread::cancel() {
  Tasks dropped;  // Destroyed after unlocking, because destructors of captures may call this object.
  {
    std::unique_lock lock(mMutex);
    if (isOwnThread()) {
      mRunCancelled = true;
    } else {
      ++mCancelling;
      mRunEnded.wait(lock, [this] { return !mTaskRuns; });
      --mCancelling;
    }
    for (const auto& trigger : mTriggers) trigger->fired = trigger->isQueued = false;
    dropped.swap(mTasks);
  }
  wake();
}

void TaskThread::addTrigger(std::shared_ptr<FiredTask> trigger) {
  const std::lock_guard lock(mMutex);
  mTriggers.push_back(std::move(trigger));
}

void TaskThread::removeTrigger(const FiredTask& trigger) {
  Tasks dropped;
  {
    std::unique_lock lock(mMutex);
    if (!isOwnThread()) {
      ++mCancelling;
      mRunEnded.wait(lock, [&] { return mRunningTrigger != &trigger; });
      --mCancelling;
    }
    std::erase_if(mTriggers, [&](const auto& entry) { return entry.get() == &trigger; });
    const auto queued =
        std::ranges::find_if(mTasks, [&](const auto& entry) { return entry.second.trigger == &trigger; });
    if (queued != mTasks.end()) dropped.insert(mTasks.extract(queued));
  }
  wake();
}

void TaskThread::work() {
  for (;;) {
    std::optional<HostTime> due;
    {
      std::unique_lock lock(mMutex);
      if (mQuit) return;
      queueFired();
      if (mCancelling == 0 && !mTasks.empty()) due = mTasks.begin()->first.first;
      if (due && *due <= mClock.now()) {
        runFirst(lock);
        continue;
      }
    }
    sleepUntil(due);
  }
}

/// Adds a run of every fired trigger to the tasks. Called with the mutex locked.
void TaskThread::queueFired() {
  for (const auto& trigger : mTriggers) {
    if (!trigger->fired || trigger->isQueued.exchange(true)) continue;
    const auto once = [trigger]() -> std::optional<HostTime> {
      trigger->run();
      return std::nullopt;
    };
    mTasks.emplace(nextPlace(HostTime::min()), Task{once, trigger.get()});
  }
}

void TaskThread::runFirst(std::unique_lock<std::mutex>& lock) {
  Tasks::node_type task = mTasks.extract(mTasks.begin());
  mTaskRuns = true;
  mRunningTrigger = task.mapped().trigger;
  lock.unlock();
  const std::optional<HostTime> next = runOnce(task.mapped());
  lock.lock();
  if (next) {
    task.key() = nextPlace(*next);
    mTasks.insert(std::move(task));
  }
  mTaskRuns = false;
  mRunningTrigger = nullptr;
  mRunEnded.notify_all();
}

/// Runs the task once and returns the time of its next run, or `std::nullopt` after its last run. After the last run,
/// destroys the task's captures before the task counts as ended.
std::optional<HostTime> TaskThread::runOnce(Task& task) noexcept {
  const NoWaitSection section(NoWaitSection::Kind::task);
  mRunCancelled = false;
  std::optional<HostTime> next = task.run();
  if (mRunCancelled) next.reset();
  if (!next) task.run = nullptr;
  return next;
}

void TaskThread::sleepUntil(std::optional<HostTime> due) {
  // Converting a very late time to the system's clock would overflow.
  due = due && *due < HostTime::max() / 2 ? std::optional(mClock.systemTime(*due)) : std::nullopt;
  waitForSemaphore(mWake, due);
  // Consume all other wakes, because one check of the tasks serves them all.
  while (sem_trywait(&mWake) == 0) continue;
}

}  // namespace orvane::host
