// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace orvane::tool {

/// The exit status of the tool.
enum class ExitStatus {
  done = 0,         ///< Success; also after SIGINT, SIGTERM, SIGHUP or a closed pipe, which are regular ends of a run.
  failed = 1,       ///< The command failed; the reason was printed on standard error.
  usageError = 2,   ///< Usage error: nothing was started; the message on standard error states what would be right.
  checkFailed = 3,  ///< The command ran, and its check failed.
  unavailable = 77  ///< There is no such host or device on this machine; test runners treat this status as "skipped".
};

/// An exception that ends the tool with an exit status and the message "orvane: REASON".
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitStatus status, const std::string& reason) : std::runtime_error(reason), mStatus(status) {}

  ExitStatus status() const { return mStatus; }

 private:
  ExitStatus mStatus;
};

}  // namespace orvane::tool
