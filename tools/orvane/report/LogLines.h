// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Log.h"

namespace orvane::tool {

/// A log sink that shows lines of the host's log on standard error, with the prefix "log error: ", "log warning: " or
/// "log notice: ". Errors are always shown, warnings and notices only with `--verbose`.
///
/// A failure is logged before the tool knows whether it ends the command. To show each failure once, up to `maxHeld`
/// error lines about failures ("Failure: REASON", "CALL failed: REASON", "writing failed: REASON") are held back until
/// the command has ended; lines that the reported reason already covers are then dropped. With `--verbose` no lines are
/// held back. `std::terminate` and an `exit` by the library
/// show the held lines first. Thread-safe; not real-time safe.
class LogLines {
 public:
  static constexpr std::size_t maxHeld = 64;

  /// Creates an object and makes it the sink of `log`. The terminate handler shows the held lines of the object that
  /// was created last.
  static std::shared_ptr<LogLines> attach(platform::Log& log, bool verbose);

  explicit LogLines(bool verbose) : mVerbose(verbose) {}

  /// From now on, shows lines about failures only with `--verbose`, because the library shows them itself.
  void dropFailures();
  /// Shows the held lines in order and removes them from this object.
  void showHeld();
  /// Drops the held line "Failure: `text`", because the tool reports that failure itself. Returns the error line that
  /// was logged directly before it, or an empty text if there is none.
  std::string takeFailure(const std::string& text);
  /// Shows the held lines whose reason is not contained in `reason`, and drops the others. From then on error lines are
  /// shown immediately.
  void finish(std::string_view reason);

 private:
  void take(platform::LogLevel level, std::string_view line);
  void show(const std::string& line) const;
  static void terminate();
  static void showAtExit();

  const bool mVerbose;
  bool mHolds = true;
  bool mDropsFailures = false;
  std::mutex mMutex;
  std::vector<std::string> mErrors;  ///< Held lines; with `--verbose`, error lines that were already shown.
};

}  // namespace orvane::tool
