// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <utility>

namespace orvane::host {

/// The task of a trigger, shared by the trigger and the thread that runs it.
struct FiredTask {
  explicit FiredTask(std::function<void()> itsTask) : task(std::move(itsTask)) {}

  /// Marks the task as fired; returns false if it already was. Thread-safe; real-time safe.
  bool fire() { return !fired.exchange(true); }
  /// Runs the task. This run covers all fires so far and sees the memory writes before them.
  void run() {
    isQueued = false;
    fired.exchange(false);
    task();
  }

  const std::function<void()> task;
  std::atomic<bool> fired = false;
  /// Whether a run is queued among the worker's tasks. Changed by the worker's thread and under its lock.
  std::atomic<bool> isQueued = false;
};

}  // namespace orvane::host
