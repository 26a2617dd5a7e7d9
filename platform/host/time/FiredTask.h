// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <utility>

namespace orvane::host {

/// The task of a trigger, shared by the trigger and the thread that runs it.
struct FiredTask {
  explicit FiredTask(std::function<void()> itsTask) : task(std::move(itsTask)) {}

  /// Marks the task to be run; false if it already was. Real-time safe.
  bool fire() { return !fired.exchange(true); }
  /// Runs the task; fires until now count as this run, which sees what came before them.
  void run() {
    isQueued = false;
    fired.exchange(false);
    task();
  }

  const std::function<void()> task;
  std::atomic<bool> fired = false;
  /// Whether a run waits among the worker's tasks. The worker's thread changes it while nobody else looks at its tasks.
  std::atomic<bool> isQueued = false;
};

}  // namespace orvane::host
