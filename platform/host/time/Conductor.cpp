// SPDX-License-Identifier: MIT
#include "platform/host/time/Conductor.h"

#include <algorithm>
#include <functional>

#include "platform/Waiter.h"
#include "platform/host/time/HostThread.h"
#include "platform/host/time/NoWait.h"
#include "platform/host/time/SemaphoreWait.h"

namespace orvane::host {

namespace {

constexpr Conductor::HostTime clockStart = std::chrono::seconds(1);

}  // namespace

std::shared_ptr<Conductor> Conductor::start() {
  std::shared_ptr<Conductor> conductor(new Conductor);
  const Lock lock(conductor->mMutex);
  conductor->mThread = startThread("conductor", [conductor] { conductor->conduct(); });
  conductor->mThreadId = conductor->mThread.get_id();
  return conductor;
}

Conductor::Conductor() : mNow(clockStart.count()) {
  sem_init(&mWake, 0, 0);
}

Conductor::~Conductor() {
  sem_destroy(&mWake);
}

void Conductor::quit() {
  {
    const Lock lock = lockToChange();
    mQuit = true;
  }
  wake();
  joinOrDetach(mThread);
}

Conductor::Lock Conductor::lockToChange() {
  Lock lock(mMutex);
  mIsChanged = true;
  return lock;
}

// ---- the agenda

Conductor::Place Conductor::addToAgenda(HostTime due, std::variant<Task, Limit> what) {
  const Place place(std::max(due, now()), mPosted++);
  const auto later = std::ranges::lower_bound(mAgenda, place, std::ranges::greater(), &Entry::place);
  mAgenda.insert(later, {place, std::move(what)});
  wakeIfItMayRun();
  return place;
}

void Conductor::post(HostTime due, Owner owner, platform::Worker::Repetition task) {
  const Lock lock = lockToChange();
  // Triggers that the caller fired earlier are queued first; otherwise the order would depend on the thread's timing.
  queueFired();
  addToAgenda(due, Task{owner, std::move(task)});
}

/// Removes the tasks for which `belongs` returns true from the agenda and returns them. The caller must destroy them
/// after unlocking, because destructors of their captures may call the conductor.
template <typename Predicate>
std::vector<Conductor::Task> Conductor::takeTasks(Predicate belongs) {
  std::vector<Task> taken;
  const auto first = std::stable_partition(mAgenda.begin(), mAgenda.end(), [&](const Entry& entry) {
    const Task* task = std::get_if<Task>(&entry.what);
    return task == nullptr || !belongs(*task);
  });
  for (auto entry = first; entry != mAgenda.end(); ++entry) taken.push_back(std::move(std::get<Task>(entry->what)));
  mAgenda.erase(first, mAgenda.end());
  return taken;
}

/// Waits until `isOver()` is true, which must happen at the end of a task's run. No other task begins until the caller
/// has returned, so the caller can still drop tasks that the run posted.
template <typename IsOver>
void Conductor::awaitRun(Lock& lock, IsOver isOver) {
  ++mReturning;
  mCallerWake.wait(lock, isOver);
  --mReturning;
}

void Conductor::cancel(Owner owner) {
  std::vector<Task> dropped;
  const auto belongs = [owner](const Task& task) { return task.owner == owner; };
  Lock lock = lockToChange();
  if (!isOwnThread()) {
    awaitRun(lock, [&] { return !mTaskRuns || mRunning != owner; });
  } else if (mRunning == owner) {
    mRunCancelled = true;
  }
  for (const Triggered& trigger : mTriggers) {
    if (trigger.owner == owner) trigger.task->fired = trigger.task->isQueued = false;
  }
  dropped = takeTasks(belongs);
  wakeIfItMayRun();
  lock.unlock();
}

void Conductor::forget(Owner owner) {
  cancel(owner);
  const Lock lock = lockToChange();
  std::erase_if(mTriggers, [owner](const Triggered& trigger) { return trigger.owner == owner; });
}

// ---- triggers

void Conductor::addTrigger(Owner owner, std::shared_ptr<FiredTask> trigger) {
  const Lock lock = lockToChange();
  mTriggers.push_back({owner, std::move(trigger)});
}

void Conductor::removeTrigger(const FiredTask& trigger) {
  std::vector<Task> dropped;
  Lock lock = lockToChange();
  if (!isOwnThread()) awaitRun(lock, [&] { return mRunningTrigger != &trigger; });
  std::erase_if(mTriggers, [&](const Triggered& entry) { return entry.task.get() == &trigger; });
  dropped = takeTasks([&](const Task& task) { return task.trigger == &trigger; });
  wakeIfItMayRun();
  lock.unlock();
}

void Conductor::fire(FiredTask& trigger) {
  if (!trigger.fire()) return;
  // Both sides write their own flag before they read the other's, sequentially consistent: either the thread sees the
  // fired trigger before it sleeps, or this call sees that the thread is asleep.
  mAnyFired = true;
  wake();
}

/// Adds a run of every fired trigger to the agenda, in the order in which the triggers were created. Called with the
/// mutex locked.
void Conductor::queueFired() {
  if (!mAnyFired.exchange(false)) return;
  for (const Triggered& trigger : mTriggers) {
    if (!trigger.task->fired || trigger.task->isQueued.exchange(true)) continue;
    const auto once = [task = trigger.task]() -> std::optional<HostTime> {
      task->run();
      return std::nullopt;
    };
    addToAgenda(HostTime::min(), Task{trigger.owner, once, trigger.task.get()});
  }
}

// ---- waiting

void Conductor::signal(Signals& signals) {
  const Lock lock = lockToChange();
  if (signals.waits.empty()) {
    ++signals.untaken;
  } else {
    endWait(signals, *signals.waits.front(), Wait::State::signalled);
  }
}

bool Conductor::wait(Signals& signals, HostTime limit) {
  forbidInsideNoWait("a wait");
  Lock lock = lockToChange();
  queueFired();
  if (signals.untaken > 0) {
    --signals.untaken;
    return true;
  }
  Wait wait;
  signals.waits.push_back(&wait);
  ++mWaiting;
  Place limitPlace{};
  const bool limited = limit < platform::Waiter::forever - now();
  if (limited) limitPlace = addToAgenda(now() + std::max(limit, HostTime::zero()), Limit{&signals, &wait});
  wakeIfItMayRun();
  // If a task signalled, wait for that task to end, so that no task runs while the caller works. After a signal from
  // another source, such as Ctrl-C, do not wait for a running task, because it may be stuck.
  mCallerWake.wait(lock, [&] { return wait.state != Wait::State::waiting && !(wait.endedByTask && mTaskRuns); });
  if (limited && wait.state == Wait::State::signalled) {
    std::erase_if(mAgenda, [&](const Entry& entry) { return entry.place == limitPlace; });
  }
  --mReturning;
  wakeIfItMayRun();
  return wait.state == Wait::State::signalled;
}

void Conductor::endWait(Signals& signals, Wait& wait, Wait::State state) {
  std::erase(signals.waits, &wait);
  wait.state = state;
  wait.endedByTask = isOwnThread();
  --mWaiting;
  ++mReturning;
  mCallerWake.notify_all();
}

// ---- the thread

void Conductor::wake() {
  if (mAsleep.exchange(false)) sem_post(&mWake);
}

void Conductor::wakeIfItMayRun() {
  if (mayRun()) wake();
}

void Conductor::conduct() {
  Lock lock(mMutex);
  while (!mQuit) {
    queueFired();
    if (mayRun()) {
      takeFirst(lock);
    } else {
      sleep(lock);
    }
  }
}

void Conductor::sleep(Lock& lock) {
  mAsleep = true;
  // If `fire` saw the thread asleep, it has posted the semaphore, which ends the wait below; otherwise the flag is
  // cleared here.
  if (mAnyFired && mAsleep.exchange(false)) return;
  lock.unlock();
  waitForSemaphore(mWake, std::nullopt);
  lock.lock();
}

void Conductor::takeFirst(Lock& lock) {
  Entry entry = std::move(mAgenda.back());
  mAgenda.pop_back();
  mNow.store(entry.place.first.count(), std::memory_order_relaxed);
  if (const Limit* limit = std::get_if<Limit>(&entry.what)) {
    endWait(*limit->signals, *limit->wait, Wait::State::limitReached);
  } else {
    runTask(lock, std::move(std::get<Task>(entry.what)));
  }
}

void Conductor::runTask(Lock& lock, Task task) {
  mRunning = task.owner;
  mRunningTrigger = task.trigger;
  mTaskRuns = true;
  std::optional<HostTime> next;
  for (;;) {
    mIsChanged = false;
    const HostTime limit = mAgenda.empty() ? HostTime::max() : mAgenda.back().place.first;
    lock.unlock();
    {
      const NoWaitSection section(NoWaitSection::Kind::task);
      next = runRepeatedly(task, limit);
    }
    lock.lock();
    if (!next) break;
    const HostTime due = std::max(*next, now());
    if (!mayTimePass() || !comesFirst(due) || mAnyFired || mQuit) break;
    mNow.store(due.count(), std::memory_order_relaxed);
  }
  if (next) addToAgenda(*next, std::move(task));
  mTaskRuns = false;
  mRunning = nullptr;
  mRunningTrigger = nullptr;
  // Only returning callers wait for the end of a task. Notifying the others too would cost a context switch per slice.
  if (mReturning > 0) mCallerWake.notify_all();
}

/// Runs the task, and returns the time of its next run, or `std::nullopt` after its last run. A repetition that is due
/// before `limit`, such as the device's next slice, runs again without going through the agenda, and without the mutex
/// as long as nobody else has used this object.
std::optional<Conductor::HostTime> Conductor::runRepeatedly(Task& task, HostTime limit) {
  std::optional<HostTime> next = runOnce(task);
  while (next && !mIsChanged && !mAnyFired) {
    const HostTime due = std::max(*next, now());
    if (due >= limit) return next;
    mNow.store(due.count(), std::memory_order_relaxed);
    next = runOnce(task);
  }
  return next;
}

/// Runs the task once and returns the time of its next run, or `std::nullopt` after its last run. After the last run,
/// destroys the task's captures before the task counts as ended.
std::optional<Conductor::HostTime> Conductor::runOnce(Task& task) noexcept {
  mRunCancelled = false;
  std::optional<HostTime> next = task.run();
  if (mRunCancelled) next.reset();
  if (!next) task.run = nullptr;
  return next;
}

}  // namespace orvane::host
