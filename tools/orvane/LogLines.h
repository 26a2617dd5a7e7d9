// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Log.h"

namespace orvane::tool {

/// Shows the lines of the platform log on standard error, each behind "log error: ", "log warning: " or "log notice: ":
/// errors always, the others if verbose.
///
/// The log tells of a failure before anybody knows whether the command ends with it. So that a failure is not shown
/// twice, error lines about one ("Failure: …", "CALL failed: …", "writing failed: …") are held until the command has
/// ended, at most `maxHeld` of them, and those that its reason covers are dropped. Verbose output holds nothing. If the
/// process ends through `std::terminate`, held lines are shown first. Any thread; not real-time safe.
class LogLines {
 public:
  static constexpr std::size_t maxHeld = 64;

  /// Sends the lines of `log` to a new object. The terminate handler shows those of the object made last.
  static std::shared_ptr<LogLines> attach(platform::Log& log, bool verbose);

  explicit LogLines(bool verbose) : mVerbose(verbose) {}

  /// Shows what was held so far, in order.
  void showHeld();
  /// The tool is going to report the failure that was logged as "Failure: `text`", so its line is dropped. Returns the
  /// error line that was logged directly before it, empty if there is none.
  std::string takeFailure(const std::string& text);
  /// Shows the held lines that `reason` does not cover. From now on every error line is shown immediately.
  void finish(std::string_view reason);

 private:
  void take(platform::LogLevel level, std::string_view line);
  void show(const std::string& line) const;
  static void terminate();

  const bool mVerbose;
  bool mHolds = true;
  std::mutex mMutex;
  std::vector<std::string> mErrors;  ///< About failures: held, or shown already if verbose.
};

}  // namespace orvane::tool
