// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Log.h"

namespace orvane::tool {

/// Lines of the platform log on standard error, with the prefix "log error: ", "log warning: " or "log notice: ".
/// Errors are always shown, warnings and notices only if verbose.
///
/// A failure is logged before the tool knows whether the command ends with it. To show each failure once, error lines
/// about failures ("Failure: REASON", "CALL failed: REASON", "writing failed: REASON") are held until the command has
/// ended, at most `maxHeld` of them; those that the reported reason covers are dropped. Verbose output holds nothing.
/// `std::terminate` shows the held lines first. Thread-safe; not real-time safe.
class LogLines {
 public:
  static constexpr std::size_t maxHeld = 64;

  /// Makes an object and sends the lines of `log` to it. The terminate handler shows the lines of the latest object.
  static std::shared_ptr<LogLines> attach(platform::Log& log, bool verbose);

  explicit LogLines(bool verbose) : mVerbose(verbose) {}

  /// Shows the held lines in order and drops them.
  void showHeld();
  /// Drops the held line "Failure: `text`", because the tool reports that failure itself. Returns the error line logged
  /// directly before it; empty if there is none.
  std::string takeFailure(const std::string& text);
  /// Shows the held lines that `reason` does not cover. From then on error lines are shown immediately.
  void finish(std::string_view reason);

 private:
  void take(platform::LogLevel level, std::string_view line);
  void show(const std::string& line) const;
  static void terminate();

  const bool mVerbose;
  bool mHolds = true;
  std::mutex mMutex;
  std::vector<std::string> mErrors;  ///< Held lines; if verbose, lines already shown.
};

}  // namespace orvane::tool
