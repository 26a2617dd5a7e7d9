// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Json.h"
#include "tools/orvane/Outcome.h"

namespace orvane::tool {

/// The report at the end of a command: the reason of a failure on standard error and, if asked for, one JSON object.
struct ClosingReport {
  std::string command{};  ///< The words of the command; empty if the command line has none.
  std::string host{};
  /// Writes the object; null for no object.
  std::shared_ptr<platform::Json> json{};
  /// Print the object on standard error, because the command's class prints on standard output.
  bool onStandardError = false;

  /// Prints the report and returns the exit status. Standard output that could not be written, by the command or for
  /// the object, is a failure.
  ExitStatus print(Outcome outcome) const;
};

/// Returns `text` as JSON can hold it: if it is not UTF-8 (a file name may be any bytes), bytes from 0x80 on are
/// escaped as \xNN.
std::string jsonText(const platform::Json& json, const std::string& text);

}  // namespace orvane::tool
