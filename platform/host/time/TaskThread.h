// SPDX-License-Identifier: MIT
#pragma once

#include <semaphore.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Clock.h"
#include "platform/Worker.h"
#include "platform/host/time/FiredTask.h"
#include "platform/host/time/SteadyClock.h"

namespace orvane::host {

/// The thread and the task queue of a worker that runs in real time. The thread and the worker's triggers jointly own
/// this object, so it outlives the worker if a task destroys its own worker. Thread-safe; only `wake` is real-time
/// safe.
class TaskThread {
 public:
  using Repetition = platform::Worker::Repetition;

  /// Creates a task thread and starts it; it runs `prologue` before its first task. Throws `std::system_error` if no
  /// thread can be started.
  static std::shared_ptr<TaskThread> start(const SteadyClock& clock, const std::string& name,
                                           std::function<void()> prologue);
  ~TaskThread();
  TaskThread(const TaskThread&) = delete;
  TaskThread& operator=(const TaskThread&) = delete;

  /// Queues a task, see `platform::Worker::repeatAt`.
  void repeatAt(platform::HostTime first, Repetition task);
  void cancel();
  /// Cancels all tasks, ends the thread and, if called on another thread, waits for its end. Must be called once.
  void quit();

  void addTrigger(std::shared_ptr<FiredTask> trigger);
  /// Removes a trigger, drops a queued run of its task, and waits for a run in progress, except if called on this
  /// thread itself.
  void removeTrigger(const FiredTask& trigger);
  /// Wakes the thread, which then checks its triggers and tasks. Real-time safe.
  void wake() { sem_post(&mWake); }

 private:
  struct Task {
    Repetition run;
    const FiredTask* trigger = nullptr;  ///< The trigger that caused this run; null for other tasks.
  };
  /// The order of a task: by due time, then by order of posting.
  using Place = std::pair<platform::HostTime, std::uint64_t>;
  using Tasks = std::map<Place, Task>;

  explicit TaskThread(const SteadyClock& clock);

  bool isOwnThread() const { return std::this_thread::get_id() == mThreadId; }
  Place nextPlace(platform::HostTime due);
  void work();
  void queueFired();
  void runFirst(std::unique_lock<std::mutex>& lock);
  std::optional<platform::HostTime> runOnce(Task& task) noexcept;
  void sleepUntil(std::optional<platform::HostTime> due);

  const SteadyClock mClock;
  sem_t mWake{};
  std::mutex mMutex;
  std::condition_variable mRunEnded;
  Tasks mTasks;
  std::vector<std::shared_ptr<FiredTask>> mTriggers;
  std::uint64_t mPosted = 0;
  int mCancelling = 0;  ///< Number of callers inside `cancel` or `removeTrigger`; no task begins meanwhile.
  bool mTaskRuns = false;
  const FiredTask* mRunningTrigger = nullptr;
  bool mRunCancelled = false;  ///< The running task has cancelled its own worker's tasks; used on this thread only.
  bool mQuit = false;
  std::thread mThread;
  std::thread::id mThreadId;  ///< Set at the start; stays valid when the thread is detached.
};

}  // namespace orvane::host
