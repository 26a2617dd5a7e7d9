// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace orvane::tool {

/// Exit status of the tool.
enum class ExitStatus {
  done = 0,         ///< Also after SIGINT, SIGTERM, SIGHUP or a closed pipe, which end a run as intended.
  failed = 1,       ///< The reason is on standard error.
  wrongUsage = 2,   ///< Nothing was started; standard error says what would be right.
  checkFailed = 3,  ///< The command ran, and its check failed.
  unavailable = 77  ///< No such host or device here; test runners take this status as "skipped".
};

/// Ends the tool with an exit status and a reason, shown as "orvane: REASON".
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitStatus status, const std::string& reason) : std::runtime_error(reason), mStatus(status) {}

  ExitStatus status() const { return mStatus; }

 private:
  ExitStatus mStatus;
};

}  // namespace orvane::tool
