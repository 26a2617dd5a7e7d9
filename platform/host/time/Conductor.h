#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Clock.h"
#include "platform/Worker.h"

namespace orvane::host {

/// The agenda of a run at fast pace and the thread that works it off. All operations may be called on any thread.
class Conductor final : public platform::Clock {
 public:
  using HostTime = platform::HostTime;
  /// What a task belongs to; only its address counts.
  using Owner = const void*;

  /// A caller inside a wait. Lives on the caller's stack; every field belongs to the conductor's mutex.
  struct Wait {
    enum class State { waiting, signalled, limitReached };
    State state = State::waiting;
    bool endedByTask = false;  ///< The task that signalled may still be at work.
  };

  /// What a waiter keeps between signals; belongs to the conductor's mutex.
  struct Signals {
    std::uint64_t untaken = 0;
    std::vector<Wait*> waits;  ///< In the order in which they began.
  };

  Conductor();
  ~Conductor() override;

  HostTime now() const override { return HostTime(mNow.load(std::memory_order_relaxed)); }

  void post(HostTime due, Owner owner, platform::Worker::Repetition task);
  /// Drops the owner's tasks, later runs of the one that runs included, and returns when that run has ended; at once
  /// on the conductor's own thread.
  void cancel(Owner owner);

  void signal(Signals& signals);
  bool wait(Signals& signals, HostTime limit);

 private:
  struct Task {
    Owner owner;
    platform::Worker::Repetition run;
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
  /// The first to come stands last. A few entries at a time, so that moving them costs less than a node for each.
  using Agenda = std::vector<Entry>;
  using Lock = std::unique_lock<std::mutex>;

  Place addToAgenda(HostTime due, std::variant<Task, Limit> what);
  void conduct();
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
  std::condition_variable mConductorWake;
  std::condition_variable mCallerWake;
  Agenda mAgenda;
  std::uint64_t mPosted = 0;   ///< Numbers the entries in order of posting.
  std::size_t mWaiting = 0;    ///< Callers inside a wait that has not been ended.
  std::size_t mReturning = 0;  ///< Callers on their way out of a wait or a cancel; nothing begins until they are.
  Owner mRunning = nullptr;    ///< The owner of the task that runs.
  bool mTaskRuns = false;
  bool mRunCancelled = false;  ///< By the task that runs; the conductor's thread alone uses it.
  bool mQuit = false;
  std::thread mThread;
};

}  // namespace orvane::host
