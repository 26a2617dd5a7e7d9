// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "platform/Platform.h"
#include "tools/orvane/LogLines.h"
#include "tools/orvane/Outcome.h"

namespace orvane::tool {

/// The context of a command.
struct Invocation {
  platform::Platform host;        ///< The services in use.
  std::shared_ptr<LogLines> log;  ///< The lines of the host's log.
  bool json = false;              ///< A JSON object reports the result: print nothing on standard output.
};

/// One command of the tool. Its constructor declares the options below `parent`; `run` does the work.
class Command {
 public:
  Command(CLI::App& parent, const std::string& name, const std::string& description)
      : mOptions(*parent.add_subcommand(name, description)->group("Commands")) {}
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command() = default;

  /// Called once, after the command line was read. Throws `ToolError` or `platform::PlatformException` where the
  /// command cannot do its work and has nothing to report.
  virtual Outcome run(const Invocation& invocation) = 0;

  /// The class behind the command prints on standard output.
  virtual bool classPrints() const { return false; }
  /// Whether the command has this option of its own.
  bool takes(const std::string& option) const { return mOptions.get_option_no_throw(option) != nullptr; }
  std::string name() const { return mOptions.get_name(); }
  bool wasChosen() const { return mOptions.parsed(); }

 protected:
  CLI::App& options() { return mOptions; }

 private:
  CLI::App& mOptions;
};

}  // namespace orvane::tool
