// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace orvane::host {

/// Runs work at the end of the process for owners that are still alive, such as completing a file. The process can end
/// on any thread without unwinding, so owners cannot rely on their destructors. Thread-safe; not real-time safe.
class ExitHook {
 public:
  /// Registers `work` to run at exit, in order of registration: the device is stopped before the files that it feeds
  /// are completed. It does not run if the process is killed or aborts.
  static void add(const void* owner, std::function<void()> work);
  /// Removes the owner's work, and waits for it if it is running, except on the thread that ends the process. Ignores
  /// an unknown owner.
  static void remove(const void* owner);
};

}  // namespace orvane::host
