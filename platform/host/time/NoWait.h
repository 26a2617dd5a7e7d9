// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// Marks a scope in which the calling thread must not wait: a worker's task or the device callback. May be nested.
/// Real-time safe.
class NoWaitSection {
 public:
  enum class Kind { task, callback };

  explicit NoWaitSection(Kind kind);
  ~NoWaitSection();
  NoWaitSection(const NoWaitSection&) = delete;
  NoWaitSection& operator=(const NoWaitSection&) = delete;

  /// Whether the calling thread is in such a scope.
  static bool isInTask();
  static bool isInCallback();

 private:
  const Kind mKind;
};

/// Ends the process with a message if the calling thread is in a section of either kind. `what` names the operation,
/// such as "a wait".
void forbidInsideNoWait(const char* what);
/// Ends the process with a message if the calling thread is in the device callback.
void forbidInsideCallback(const char* what);

}  // namespace orvane::host
