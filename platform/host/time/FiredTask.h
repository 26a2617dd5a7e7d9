// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <utility>

namespace orvane::host {

/// The task of a trigger, shared by the trigger and the thread that runs it.
struct FiredTask {
  explicit FiredTask(std::function<void()> itsTask) : task(std::move(itsTask)) {}

  /// Marks the task as fired. Returns false if the task was already marked. Thread-safe; real-time safe.
  bool fire() { return !fired.exchange(true); }
  /// Clears the mark and runs the task. This run serves all calls of `fire` so far and sees the memory writes that
  /// preceded them.
  void run() {
    isQueued = false;
    fired.exchange(false);
    task();
  }

  const std::function<void()> task;
  std::atomic<bool> fired = false;
  /// Whether a run is queued among the worker's tasks. Changed on the worker's thread or with the worker's mutex
  /// locked.
  std::atomic<bool> isQueued = false;
};

}  // namespace orvane::host
