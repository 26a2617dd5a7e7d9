// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/orvane/Command.h"

namespace orvane::tool {

/// The tool's command line: the global options, and the commands with theirs.
class CommandLine {
 public:
  CommandLine();

  /// Reads the arguments. Returns false after printing help or the version, when nothing is left to do. Throws
  /// `ToolError` for wrong usage; what was read until then stays, and `json` is known all the same.
  bool read(int count, const char* const* arguments);

  const std::optional<std::string>& host() const { return mHost; }
  const std::optional<std::string>& simulate() const { return mSimulate; }
  bool json() const { return mJson; }
  bool verbose() const { return mVerbose; }
  /// The command that was chosen, also before wrong usage was found; null where none was.
  Command* command() const;

 private:
  std::string explain(const CLI::ParseError& error, std::span<const char* const> arguments) const;
  /// The message for an argument that nothing takes.
  std::string explainUnexpected(const std::string& argument, std::span<const char* const> arguments) const;
  std::string helpHint() const;

  CLI::App mApp;
  std::vector<std::unique_ptr<Command>> mCommands;
  std::optional<std::string> mHost;
  std::optional<std::string> mSimulate;
  bool mJson = false;
  bool mVerbose = false;
};

}  // namespace orvane::tool
