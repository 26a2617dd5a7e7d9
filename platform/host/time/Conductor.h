// SPDX-License-Identifier: MIT
#pragma once

#include <semaphore.h>

#include <atomic>
#include <condition_variable>
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

/// The agenda of a run at fast pace and the thread that works it off. The thread shares it, so that the scheduler may
/// be destroyed by a task. Any thread.
class Conductor final : public platform::Clock {
 public:
  using HostTime = platform::HostTime;
  /// The worker that a task belongs to; only its address counts.
  using Owner = const void*;

  /// A caller inside a wait. Lives on the caller's stack; every field belongs to the conductor's mutex.
  struct Wait {
    enum class State { waiting, signalled, limitReached };
    State state = State::waiting;
    bool endedByTask = false;  ///< The task that signalled may still be at work.
  };

  /// State of a waiter between signals; belongs to the conductor's mutex.
  struct Signals {
    std::uint64_t untaken = 0;
    std::vector<Wait*> waits;  ///< In the order in which they began.
  };

  static std::shared_ptr<Conductor> start();
  ~Conductor() override;
  Conductor(const Conductor&) = delete;
  Conductor& operator=(const Conductor&) = delete;

  /// Ends the thread; waits for its end except on that thread itself.
  void quit();

  HostTime now() const override { return HostTime(mNow.load(std::memory_order_relaxed)); }

  void post(HostTime due, Owner owner, platform::Worker::Repetition task);
  /// Drops the owner's tasks, later runs of the one that runs included, and returns when that run has ended; at once
  /// on the conductor's own thread.
  void cancel(Owner owner);
  /// Cancels for the last time: the owner's address may be used again.
  void forget(Owner owner);

  void addTrigger(Owner owner, std::shared_ptr<FiredTask> trigger);
  /// Drops the trigger's queued run and waits for one that is under way, except on the conductor's own thread.
  void removeTrigger(const FiredTask& trigger);
  /// Real-time safe.
  void fire(FiredTask& trigger);

  void signal(Signals& signals);
  bool wait(Signals& signals, HostTime limit);

 private:
  struct Task {
    Owner owner;
    platform::Worker::Repetition run;
    const FiredTask* trigger = nullptr;  ///< The trigger that this is a run of.
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
  /// Sorted descending, the next entry at back(). Few entries, so a vector beats a node-based map.
  using Agenda = std::vector<Entry>;
  using Lock = std::unique_lock<std::mutex>;

  Conductor();

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
  std::optional<HostTime> runOnce(Task& task) noexcept;
  void endWait(Signals& signals, Wait& wait, Wait::State state);
  /// Whether somebody waits for time to pass, and nobody for it to stand still.
  bool mayTimePass() const { return mWaiting > 0 && mReturning == 0; }
  bool mayRun() const { return mayTimePass() && !mAgenda.empty(); }
  bool comesFirst(HostTime due) const { return mAgenda.empty() || due < mAgenda.back().place.first; }

  std::atomic<HostTime::rep> mNow;
  std::mutex mMutex;
  sem_t mWake{};
  std::atomic<bool> mAsleep = false;    ///< The thread waits for the semaphore, or is about to.
  std::atomic<bool> mAnyFired = false;  ///< A trigger was fired since the thread last looked.
  std::condition_variable mCallerWake;
  Agenda mAgenda;
  std::vector<Triggered> mTriggers;  ///< In the order in which they were made.
  std::uint64_t mPosted = 0;         ///< Numbers the entries in order of posting.
  std::size_t mWaiting = 0;          ///< Callers inside a wait that has not been ended.
  std::size_t mReturning = 0;        ///< Callers on their way out of a wait or a cancel; nothing begins until they are.
  Owner mRunning = nullptr;          ///< The owner of the task that runs.
  const FiredTask* mRunningTrigger = nullptr;
  bool mTaskRuns = false;
  bool mRunCancelled = false;  ///< By the task that runs; the conductor's thread alone uses it.
  bool mQuit = false;
  std::thread mThread;
  std::thread::id mThreadId;  ///< Set once, at the start; the thread itself may be detached.
};

}  // namespace orvane::host
