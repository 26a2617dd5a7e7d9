// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Json.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// The report at the end of a command: the reason of a failure, printed on standard error, and one JSON object if
/// requested (`--json`).
struct ClosingReport {
  std::string command{};  ///< The name of the command; empty if the command line has none.
  std::string host{};
  /// The JSON service that writes the object; null if no object is requested.
  std::shared_ptr<platform::Json> json{};
  /// Whether to print the JSON object on standard error instead of standard output. True for commands whose library
  /// class prints on standard output.
  bool onStandardError = false;

  /// Prints the report and returns the exit status of the tool. If the command's output or the object could not be
  /// written to standard output, this is a failure.
  ExitStatus print(Outcome outcome) const;
};

/// Returns `text` in a form that JSON can represent. If the text is not valid UTF-8 (a file name may contain any
/// bytes), all bytes from 0x80 on are escaped as \xNN.
std::string jsonText(const platform::Json& json, const std::string& text);

}  // namespace orvane::tool
