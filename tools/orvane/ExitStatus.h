// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace orvane::tool {

/// How the tool ends, as a shell sees it.
enum class ExitStatus {
  done = 0,         ///< Also after SIGINT, SIGTERM or a closed pipe: stopping a run is how it is used.
  failed = 1,       ///< The reason is on standard error.
  wrongUsage = 2,   ///< Nothing was started; what would be right is on standard error.
  checkFailed = 3,  ///< The command ran, and what it was to check did not hold.
  unavailable = 77  ///< No such host or device here: what test runners take as "skipped".
};

/// Ends the tool with a status and a reason, which is shown as "orvane: REASON".
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitStatus status, const std::string& reason) : std::runtime_error(reason), mStatus(status) {}

  ExitStatus status() const { return mStatus; }

 private:
  ExitStatus mStatus;
};

}  // namespace orvane::tool
