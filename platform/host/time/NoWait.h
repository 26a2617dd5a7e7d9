// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// Marks a span in which the calling thread must not wait: a worker's task or the device callback. Nests. Real-time
/// safe.
class NoWaitSection {
 public:
  enum class Kind { task, callback };

  explicit NoWaitSection(Kind kind);
  ~NoWaitSection();
  NoWaitSection(const NoWaitSection&) = delete;
  NoWaitSection& operator=(const NoWaitSection&) = delete;

  static bool isInTask();
  static bool isInCallback();

 private:
  const Kind mKind;
};

/// Ends the process with a line that says what was done, if the calling thread is inside a section. `what` reads as
/// "a wait".
void forbidInsideNoWait(const char* what);
/// The same for the device callback only.
void forbidInsideCallback(const char* what);

}  // namespace orvane::host
