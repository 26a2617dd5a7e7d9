// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/Clock.h"
#include "platform/Export.h"
#include "platform/Trigger.h"

namespace orvane::platform {

/// Runs tasks one at a time, in order of due time; tasks of equal due time run in order of posting.
///
/// A task may post to any worker, its own included, and signal waiters. It must not wait and must not throw: each ends
/// the process. A task must not be empty. Destroying a worker cancels its tasks as `cancel` does; a task may destroy
/// its own worker. Thread-safe; not real-time safe.
class ORVANE_EXPORT Worker {
 public:
  using Task = std::function<void()>;
  /// A task that returns the host time of its next run, or nothing to end.
  using Repetition = std::function<std::optional<HostTime>()>;

  virtual ~Worker() = default;

  /// Runs `task` as soon as the tasks that are due before it have ended.
  void post(Task task) { postAt(HostTime::min(), std::move(task)); }
  /// Runs `task` when the host clock reaches `time`; a time in the past counts as now.
  void postAt(HostTime time, Task task) {
    repeatAt(time, [once = std::move(task)]() -> std::optional<HostTime> {
      once();
      return std::nullopt;
    });
  }
  /// Runs `task` at `first`, then at the time that each run returns, as if posted at the end of that run. Times in the
  /// past count as now. After the last run the task's captures are destroyed before `cancel` can return.
  virtual void repeatAt(HostTime first, Repetition task) = 0;
  /// Drops every task that has not begun, later repetitions and fired triggers included, and waits for a run in
  /// progress. From one of this worker's own tasks, does not wait. The worker accepts new tasks afterwards.
  virtual void cancel() = 0;
  /// Makes a trigger that runs `task` on this worker.
  virtual std::unique_ptr<Trigger> makeTrigger(Task task) = 0;
};

}  // namespace orvane::platform
