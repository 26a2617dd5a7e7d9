// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/Clock.h"
#include "platform/Export.h"

namespace orvane::platform {

/// A trigger makes a worker run a certain task. The device callback uses triggers to wake workers. Created by
/// `Worker::makeTrigger`.
///
/// Destroying a trigger drops a run of its task that has not begun and waits for one in progress, except if the task
/// itself destroys the trigger. A trigger may outlive its worker; firing it then does nothing.
class ORVANE_EXPORT Trigger {
 public:
  virtual ~Trigger() = default;

  /// Makes the task run soon. Several calls before the run begins cause one run; a call during the run causes another
  /// run. Thread-safe; real-time safe in real and in simulated time.
  virtual void fire() = 0;
};

/// An executor of tasks: runs them one at a time, in order of due time; tasks of equal due time run in order of
/// posting.
///
/// A task must not be an empty function. It may post to any worker, including its own, and signal waiters. It must not
/// wait or throw: either ends the process. Destroying a worker cancels its tasks as `cancel` does; a task may destroy
/// its own worker. Thread-safe; not real-time safe.
class ORVANE_EXPORT Worker {
 public:
  using Task = std::function<void()>;
  /// A repeated task: returns the host time of its next run, or `std::nullopt` to end.
  using Repetition = std::function<std::optional<HostTime>()>;

  virtual ~Worker() = default;

  /// Queues `task` to run as soon as the tasks that are due before it have ended.
  void post(Task task) { postAt(HostTime::min(), std::move(task)); }
  /// Queues `task` to run when the host clock reaches `time`; a time in the past counts as now.
  void postAt(HostTime time, Task task) {
    repeatAt(time, [once = std::move(task)]() -> std::optional<HostTime> {
      once();
      return std::nullopt;
    });
  }
  /// Queues `task` to run at `first`, and then again at the time that each run returns, as if posted at the end of that
  /// run. Times in the past count as now. After the last run the task's captures are destroyed before `cancel` can
  /// return.
  virtual void repeatAt(HostTime first, Repetition task) = 0;
  /// Drops every task that has not begun, including later repetitions and fired triggers, and waits for a task in
  /// progress. Does not wait if called from one of this worker's own tasks. The worker accepts new tasks afterwards.
  virtual void cancel() = 0;
  /// Creates a trigger that runs `task` on this worker.
  virtual std::unique_ptr<Trigger> makeTrigger(Task task) = 0;
};

}  // namespace orvane::platform
