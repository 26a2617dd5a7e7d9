#include "platform/host/time/Conductor.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "platform/Waiter.h"
#include "platform/host/time/HostThread.h"

namespace orvane::host {

namespace {

constexpr Conductor::HostTime clockStart = std::chrono::seconds(1);

}  // namespace

Conductor::Conductor() : mNow(clockStart.count()) {
  mThread = startThread("conductor", [this] { conduct(); });
}

Conductor::~Conductor() {
  {
    const Lock lock(mMutex);
    mQuit = true;
  }
  mConductorWake.notify_one();
  mThread.join();
}

Conductor::Place Conductor::addToAgenda(HostTime due, std::variant<Task, Limit> what) {
  const Place place(std::max(due, now()), mPosted++);
  const auto later = std::ranges::lower_bound(mAgenda, place, std::ranges::greater(), &Entry::place);
  mAgenda.insert(later, {place, std::move(what)});
  if (mayRun()) mConductorWake.notify_one();
  return place;
}

void Conductor::post(HostTime due, Owner owner, platform::Worker::Repetition task) {
  const Lock lock(mMutex);
  addToAgenda(due, Task{owner, std::move(task)});
}

void Conductor::cancel(Owner owner) {
  std::vector<Task> dropped;  // Destroyed after the lock is gone: what a task holds may call back into the conductor.
  Lock lock(mMutex);
  if (std::this_thread::get_id() != mThread.get_id()) {
    // Nothing begins while a caller is on its way out, so what the running task posts is there to be dropped.
    ++mReturning;
    mCallerWake.wait(lock, [&] { return !mTaskRuns || mRunning != owner; });
    --mReturning;
  } else if (mRunning == owner) {
    mRunCancelled = true;
  }
  const auto owned = std::stable_partition(mAgenda.begin(), mAgenda.end(), [&](const Entry& entry) {
    const Task* task = std::get_if<Task>(&entry.what);
    return task == nullptr || task->owner != owner;
  });
  for (auto entry = owned; entry != mAgenda.end(); ++entry) dropped.push_back(std::move(std::get<Task>(entry->what)));
  mAgenda.erase(owned, mAgenda.end());
  if (mayRun()) mConductorWake.notify_one();
  lock.unlock();
}

void Conductor::signal(Signals& signals) {
  const Lock lock(mMutex);
  if (signals.waits.empty()) {
    ++signals.untaken;
  } else {
    endWait(signals, *signals.waits.front(), Wait::State::signalled);
  }
}

bool Conductor::wait(Signals& signals, HostTime limit) {
  if (std::this_thread::get_id() == mThread.get_id()) {
    std::fputs("orvane: a worker's task waits; at fast pace nothing could ever end that wait\n", stderr);
    std::abort();
  }
  Lock lock(mMutex);
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
  if (mayRun()) mConductorWake.notify_one();
  // Only when the task that signalled is done does the caller see a world that stands still. A signal from elsewhere,
  // the user's Ctrl-C above all, does not wait for a task that may be stuck.
  mCallerWake.wait(lock, [&] { return wait.state != Wait::State::waiting && !(wait.endedByTask && mTaskRuns); });
  if (limited && wait.state == Wait::State::signalled) {
    std::erase_if(mAgenda, [&](const Entry& entry) { return entry.place == limitPlace; });
  }
  if (--mReturning == 0 && mayRun()) mConductorWake.notify_one();
  return wait.state == Wait::State::signalled;
}

void Conductor::endWait(Signals& signals, Wait& wait, Wait::State state) {
  std::erase(signals.waits, &wait);
  wait.state = state;
  wait.endedByTask = std::this_thread::get_id() == mThread.get_id();
  --mWaiting;
  ++mReturning;
  mCallerWake.notify_all();
}

void Conductor::conduct() {
  Lock lock(mMutex);
  for (;;) {
    mConductorWake.wait(lock, [this] { return mQuit || mayRun(); });
    if (mQuit) return;
    takeFirst(lock);
  }
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
  mTaskRuns = true;
  std::optional<HostTime> next;
  for (;;) {
    lock.unlock();
    next = runOnce(task);
    lock.lock();
    if (!next) break;
    const HostTime due = std::max(*next, now());
    if (!mayTimePass() || !comesFirst(due)) break;
    // Spares a repetition, a device's slices above all, the way over the agenda.
    mNow.store(due.count(), std::memory_order_relaxed);
  }
  if (next) addToAgenda(*next, std::move(task));
  mTaskRuns = false;
  mRunning = nullptr;
  // Only those on their way out wait for the end of a task. Waking others costs a switch of threads at every slice.
  if (mReturning > 0) mCallerWake.notify_all();
}

/// Gives the time of the task's next run. Behind the last one, what the task holds ends before it counts as done.
std::optional<Conductor::HostTime> Conductor::runOnce(Task& task) noexcept {
  mRunCancelled = false;
  std::optional<HostTime> next = task.run();
  if (mRunCancelled) next.reset();
  if (!next) task.run = nullptr;
  return next;
}

}  // namespace orvane::host
