// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/Status.h"
#include "platform/Value.h"
#include "tools/orvane/report/ExitStatus.h"

namespace orvane::tool {

/// The outcome of a command.
struct Outcome {
  ExitStatus exitStatus = ExitStatus::done;
  std::string ended = "finished";                ///< Value of the member `ended` of the JSON object.
  std::string error{};                           ///< Why the command failed; empty after success.
  std::optional<platform::Status> hostStatus{};  ///< The host status that caused the failure, if any.
  platform::Value members =
      platform::Value::dictionary();  ///< The members of the JSON object that only this command has.

  /// Turns the outcome into a failure and keeps its members. `status` must not be `ExitStatus::done`.
  void fail(ExitStatus status, std::string reason) {
    exitStatus = status;
    ended = status == ExitStatus::usageError ? "usage" : status == ExitStatus::unavailable ? "unavailable" : "failed";
    error = std::move(reason);
  }
};

/// Returns the outcome of a command that failed before it had anything to report.
inline Outcome failed(ExitStatus status, std::string reason, std::optional<platform::Status> hostStatus = {}) {
  Outcome outcome{.hostStatus = hostStatus};
  outcome.fail(status, std::move(reason));
  return outcome;
}

}  // namespace orvane::tool
