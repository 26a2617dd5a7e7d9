#pragma once

#include <functional>
#include <optional>
#include <utility>

#include "platform/Clock.h"
#include "platform/Export.h"

namespace orvane::platform {

/// A serial place to run tasks: one at a time, in order of due time, tasks of one due time in the order they were
/// posted.
///
/// A task may post to any worker, its own included, and signal waiters; it never waits, and an exception that leaves it
/// ends the process. Destroying a worker cancels it. Not real-time safe.
class ORVANE_EXPORT Worker {
 public:
  using Task = std::function<void()>;
  /// Gives the host time of its next run; nothing ends it.
  using Repetition = std::function<std::optional<HostTime>()>;

  virtual ~Worker() = default;

  /// Runs `task` as soon as the tasks before it are done. Any thread.
  void post(Task task) { postAt(HostTime::min(), std::move(task)); }
  /// Runs `task` when the host clock reaches `time`; at once where that is past. Any thread.
  void postAt(HostTime time, Task task) {
    repeatAt(time, [once = std::move(task)]() -> std::optional<HostTime> {
      once();
      return std::nullopt;
    });
  }
  /// Runs `task` at `first`, and then at the time that each run gives: in the place it would have if it were posted at
  /// the end of that run. For what comes round often, as the slices of a device do. Any thread.
  virtual void repeatAt(HostTime first, Repetition task) = 0;
  /// Drops every task that has not begun, and what would repeat itself, and returns when the run under way has ended;
  /// called from this worker's own task, returns at once. The worker takes new tasks afterwards.
  virtual void cancel() = 0;
};

}  // namespace orvane::platform
