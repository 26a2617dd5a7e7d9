// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/orvane/Command.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace orvane::tool {

/// The tool's command line: the global options, and the commands with theirs.
class CommandLine {
 public:
  CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  /// Reads the arguments of the process. Returns false after printing help or the version. Throws `ToolError` for wrong
  /// usage; the global options are valid even then.
  bool read(int count, const char* const* arguments);

  const std::optional<std::string>& host() const { return mHost; }
  const std::optional<std::string>& simulate() const { return mSimulate; }
  bool json() const { return mJson; }
  bool verbose() const { return mVerbose; }
  /// The chosen command; null if there is none. Valid after wrong usage as well.
  Command* command() const;

 private:
  /// Finds --json, --host and --simulate among arguments that could not be read to their end.
  void recoverGlobalOptions(std::span<const char* const> arguments);
  std::string explain(const CLI::ParseError& error, std::span<const char* const> arguments) const;
  /// The message for an argument that neither the tool nor the chosen command takes.
  std::string explainUnexpected(const std::string& argument, std::span<const char* const> arguments) const;
  /// "; the commands are session, device, ... and playthru".
  std::string listCommands() const;

  std::unique_ptr<CLI::App> mApp;
  std::vector<std::unique_ptr<Command>> mCommands;
  std::optional<std::string> mHost;
  std::optional<std::string> mSimulate;
  bool mJson = false;
  bool mVerbose = false;
};

}  // namespace orvane::tool
