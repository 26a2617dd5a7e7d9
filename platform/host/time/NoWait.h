// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// A scope guard that marks code in which the calling thread must not wait: a worker's task or the device callback.
/// Sections may be nested. Real-time safe.
class NoWaitSection {
 public:
  enum class Kind { task, callback };

  explicit NoWaitSection(Kind kind);
  ~NoWaitSection();
  NoWaitSection(const NoWaitSection&) = delete;
  NoWaitSection& operator=(const NoWaitSection&) = delete;

  /// Returns whether the calling thread is in a section of the kind `task`.
  static bool isInTask();
  /// Returns whether the calling thread is in a section of the kind `callback`.
  static bool isInCallback();

 private:
  const Kind mKind;
};

/// Ends the process with a message if the calling thread is in a section of either kind. `what` names the forbidden
/// operation, such as "a wait".
void forbidInsideNoWait(const char* what);
/// Ends the process with a message if the calling thread is in the device callback. `what` names the forbidden
/// operation.
void forbidInsideCallback(const char* what);

}  // namespace orvane::host
