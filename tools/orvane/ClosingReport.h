// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Json.h"
#include "tools/orvane/Outcome.h"

namespace orvane::tool {

/// Tells how a command ended: the reason of a failure on standard error and, where it is wanted, one JSON object.
struct ClosingReport {
  std::string command{};  ///< The words of the command; empty where the command line names none.
  std::string host{};
  /// Writes the object; null where none is wanted.
  std::shared_ptr<platform::Json> json{};
  /// The command's class prints on standard output, so the object goes to standard error.
  bool onStandardError = false;

  /// Prints the report and returns the status to exit with. Output that was lost before is a failure and part of the
  /// report; an object that is lost is one too.
  ExitStatus print(Outcome outcome) const;
};

/// Text that JSON can hold: where a file name, which may be any bytes, is not UTF-8, the bytes from 0x80 on are written
/// as "\xFF".
std::string jsonText(const platform::Json& json, const std::string& text);

}  // namespace orvane::tool
