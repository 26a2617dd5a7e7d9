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

/// The parser of the tool's command line: the global options, and the commands with their options.
class CommandLine {
 public:
  CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  /// Parses the arguments of the process. Returns true if there is a command to execute, false after printing help or
  /// the version. Throws `ToolError` for a usage error; the values of the global options are valid even then.
  bool read(int count, const char* const* arguments);

  const std::optional<std::string>& host() const { return mHost; }
  const std::optional<std::string>& simulate() const { return mSimulate; }
  /// Returns the options --input, --output, --rate and --slice in the form that `platform::makeHost` accepts for a
  /// sound server's host; empty if none was given.
  std::string deviceOptions() const;
  bool json() const { return mJson; }
  bool verbose() const { return mVerbose; }
  /// Returns the command on the command line, or null if there is none. Valid even after a usage error.
  Command* command() const;

 private:
  /// Sets the values of --json, --host and --simulate after a usage error, because parsing may have ended before these
  /// options.
  void recoverGlobalOptions(std::span<const char* const> arguments);
  std::string explain(const CLI::ParseError& error, std::span<const char* const> arguments) const;
  /// Returns the message for an argument that neither the tool nor the command accepts.
  std::string explainUnexpected(const std::string& argument, std::span<const char* const> arguments) const;
  /// Returns the list of commands as the end of a message: "; the commands are session, device, ... and midi". After
  /// the first word of some commands, lists how they go on: "; the commands of queue are record and play".
  std::string listCommands() const;
  /// Adds a word that commands begin with, such as "midi".
  CLI::App& addGroup(const std::string& name, const std::string& groupDescription);

  std::unique_ptr<CLI::App> mApp;
  std::vector<std::unique_ptr<Command>> mCommands;
  std::optional<std::string> mHost;
  std::optional<std::string> mSimulate;
  std::optional<std::string> mInput;
  std::optional<std::string> mOutput;
  std::optional<double> mRate;
  std::optional<double> mSlice;
  bool mJson = false;
  bool mVerbose = false;
};

}  // namespace orvane::tool
