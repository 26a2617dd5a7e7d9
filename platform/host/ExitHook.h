// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace orvane::host {

/// A registry of functions that run at the exit of the process for objects that still exist then, for example to
/// complete a file. `exit` can be called on any thread and runs no destructors of such objects. Thread-safe; not
/// real-time safe.
class ExitHook {
 public:
  /// Registers `work` to run at exit. Functions run in order of registration, so the device, which registers first, is
  /// stopped before the files that it writes to are completed. They do not run if the process is killed or aborts.
  static void add(const void* owner, std::function<void()> work);
  /// Removes the owner's function, and waits for it if it is running, except on the thread that runs the functions at
  /// exit. Ignores an unknown owner.
  static void remove(const void* owner);
};

}  // namespace orvane::host
