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

/// A serial place to run tasks: one at a time, in order of due time, tasks of one due time in the order they were
/// posted.
///
/// A task may post to any worker, its own included, and signal waiters. It never waits: a wait inside a task ends the
/// process with a line that says so, and so does an exception that leaves it. Destroying a worker cancels it; a worker
/// may be destroyed by its own task. Not real-time safe.
class ORVANE_EXPORT Worker {
 public:
  using Task = std::function<void()>;
  /// Returns the host time of its next run; nothing ends it.
  using Repetition = std::function<std::optional<HostTime>()>;

  virtual ~Worker() = default;

  /// Runs `task` as soon as the tasks before it are done. Any thread.
  void post(Task task) { postAt(HostTime::min(), std::move(task)); }
  /// Runs `task` when the host clock reaches `time`; immediately if that is past. Any thread.
  void postAt(HostTime time, Task task) {
    repeatAt(time, [once = std::move(task)]() -> std::optional<HostTime> {
      once();
      return std::nullopt;
    });
  }
  /// Runs `task` at `first`, then at the time that each run returns, as if it were posted at the end of that run. For
  /// periodic work such as the slices of a device. Any thread.
  virtual void repeatAt(HostTime first, Repetition task) = 0;
  /// Drops every task that has not begun, repetitions and fired triggers included, and returns when the run under way
  /// has ended; called from this worker's own task, returns immediately. The worker takes new tasks afterwards. Any
  /// thread.
  virtual void cancel() = 0;
  /// Makes a trigger that runs `task` on this worker. Any thread.
  virtual std::unique_ptr<Trigger> makeTrigger(Task task) = 0;
};

}  // namespace orvane::platform
