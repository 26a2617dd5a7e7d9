// SPDX-License-Identifier: MIT
#pragma once

#include <semaphore.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Clock.h"
#include "platform/Worker.h"
#include "platform/host/time/FiredTask.h"

namespace orvane::host {

/// The clock and the only task thread of the scheduler at fast pace (simulated time, faster than real time). All tasks
/// of all workers are on one agenda, ordered by due time. The thread is one of the conductor's owners, so the conductor
/// outlives the scheduler if a task destroys the scheduler. Thread-safe; only `now` and `fire` are real-time safe.
class Conductor final : public platform::Clock {
 public:
  using HostTime = platform::HostTime;
  /// Identifies the worker that a task belongs to: the worker's address.
  using Owner = const void*;

  /// The state of a caller's wait in progress. The object is on the caller's stack and protected by the conductor's
  /// mutex.
  struct Wait {
    enum class State { waiting, signalled, limitReached };
    State state = State::waiting;
    bool endedByTask = false;  ///< The signal came from a task, which may still be running.
  };

  /// The state of a waiter (counting semaphore). Protected by the conductor's mutex.
  struct Signals {
    std::uint64_t untaken = 0;  ///< Number of signals that no wait has taken yet.
    std::vector<Wait*> waits;   ///< Waits in progress, in the order in which they began.
  };

  /// Creates a conductor and starts its thread. Throws `std::system_error` if no thread can be started.
  static std::shared_ptr<Conductor> start();
  ~Conductor() override;
  Conductor(const Conductor&) = delete;
  Conductor& operator=(const Conductor&) = delete;

  /// Ends the thread and, if called on another thread, waits for its end. Must be called once.
  void quit();

  HostTime now() const override { return HostTime(mNow.load(std::memory_order_relaxed)); }

  /// Adds a task; a due time in the past counts as now.
  void post(HostTime due, Owner owner, platform::Worker::Repetition task);
  /// Drops the owner's tasks, including later repetitions of a task that is running, and waits for the running task to
  /// end, except if called on the conductor's thread.
  void cancel(Owner owner);
  /// Cancels the tasks and removes the triggers of an owner that is being destroyed.
  void forget(Owner owner);

  void addTrigger(Owner owner, std::shared_ptr<FiredTask> trigger);
  /// Removes a trigger, drops a queued run of its task, and waits for a run in progress, except if called on the
  /// conductor's thread.
  void removeTrigger(const FiredTask& trigger);
  /// Makes the task of the trigger run soon. Real-time safe.
  void fire(FiredTask& trigger);

  void signal(Signals& signals);
  bool wait(Signals& signals, HostTime limit);

 private:
  struct Task {
    Owner owner;
    platform::Worker::Repetition run;
    const FiredTask* trigger = nullptr;  ///< The trigger that caused this run; null for other tasks.
  };
  struct Limit {
    Signals* signals;
    Wait* wait;
  };
  using Place = std::pair<HostTime, std::uint64_t>;
  struct Entry {
    Place place;
    std::variant<Task, Limit> what;
  };
  struct Triggered {
    Owner owner;
    std::shared_ptr<FiredTask> task;
  };
  /// The entries in descending order, so that the next one to execute is at back(). There are few entries, so a vector
  /// is faster than a node-based map.
  using Agenda = std::vector<Entry>;
  using Lock = std::unique_lock<std::mutex>;

  Conductor();

  /// Locks the mutex for an operation that may change what the thread does next.
  Lock lockToChange();
  bool isOwnThread() const { return std::this_thread::get_id() == mThreadId; }
  Place addToAgenda(HostTime due, std::variant<Task, Limit> what);
  template <typename Predicate>
  std::vector<Task> takeTasks(Predicate belongs);
  template <typename IsOver>
  void awaitRun(Lock& lock, IsOver isOver);
  void wakeIfItMayRun();
  void wake();
  void conduct();
  void sleep(Lock& lock);
  void queueFired();
  void takeFirst(Lock& lock);
  void runTask(Lock& lock, Task task);
  std::optional<HostTime> runRepeatedly(Task& task, HostTime limit);
  std::optional<HostTime> runOnce(Task& task) noexcept;
  void endWait(Signals& signals, Wait& wait, Wait::State state);
  /// Returns whether a caller is waiting and no caller is returning from a wait, so that tasks may run.
  bool mayTimePass() const { return mWaiting > 0 && mReturning == 0; }
  bool mayRun() const { return mayTimePass() && !mAgenda.empty(); }
  bool comesFirst(HostTime due) const { return mAgenda.empty() || due < mAgenda.back().place.first; }

  std::atomic<HostTime::rep> mNow;
  std::mutex mMutex;
  sem_t mWake{};
  std::atomic<bool> mAsleep = false;     ///< The thread is waiting for the semaphore or is about to.
  std::atomic<bool> mIsChanged = false;  ///< An operation was called since the thread last looked.
  std::atomic<bool> mAnyFired = false;   ///< A trigger was fired after the thread's last check.
  std::condition_variable mCallerWake;
  Agenda mAgenda;
  std::vector<Triggered> mTriggers;  ///< In order of creation.
  std::uint64_t mPosted = 0;         ///< Number of entries posted so far; orders entries of equal due time.
  std::size_t mWaiting = 0;          ///< Number of callers in a wait that has not ended.
  std::size_t mReturning =
      0;  ///< Number of callers returning from `wait` or `cancel`; no task begins until they have returned.
  Owner mRunning = nullptr;  ///< The owner of the running task; null if none is running.
  const FiredTask* mRunningTrigger = nullptr;
  bool mTaskRuns = false;
  bool mRunCancelled =
      false;  ///< The running task has cancelled its own worker's tasks; used on the conductor's thread only.
  bool mQuit = false;
  std::thread mThread;
  std::thread::id mThreadId;  ///< Set at the start; stays valid when the thread is detached.
};

}  // namespace orvane::host
