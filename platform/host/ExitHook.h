// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace orvane::host {

/// Work that must be done when the process exits while its owner still lives: completing a file, mostly. The end can
/// come from any thread and without unwinding, so owners cannot rely on their destructors.
class ExitHook {
 public:
  /// Runs `work` at exit unless `owner` was removed before: works added first run first, so that the device has stopped
  /// before the files that it feeds are completed. `remove` waits for work that runs. Not in a process that is killed
  /// or aborts. Any thread.
  static void add(const void* owner, std::function<void()> work);
  static void remove(const void* owner);
};

}  // namespace orvane::host
