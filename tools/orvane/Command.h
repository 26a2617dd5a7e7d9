// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "tools/orvane/LogLines.h"
#include "tools/orvane/Outcome.h"

namespace CLI {
class App;
}  // namespace CLI

namespace orvane::tool {

/// The context of a command.
struct Invocation {
  platform::Platform host;        ///< The services in use.
  std::shared_ptr<LogLines> log;  ///< The lines of the host's log.
  bool json = false;              ///< A JSON object reports the result: print nothing on standard output.
};

/// A command of the tool. Its constructor declares the options; `run` does the work.
class Command {
 public:
  /// Adds the command to the command line `parent`.
  Command(CLI::App& parent, const std::string& name, const std::string& description);
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command() = default;

  /// Runs the command. Called once, after the command line was read. Throws `ToolError` or
  /// `platform::PlatformException` if the command fails before it has anything to report.
  virtual Outcome run(const Invocation& invocation) = 0;

  /// Whether the exported class behind the command prints on standard output.
  virtual bool classPrints() const { return false; }
  /// Whether the command itself declares `option`.
  bool takes(const std::string& option) const;
  /// The word that selects the command.
  std::string name() const;
  /// Whether the command line selects this command. Valid once the command line was read.
  bool wasChosen() const;

 protected:
  CLI::App& options() { return mOptions; }

 private:
  CLI::App& mOptions;
};

}  // namespace orvane::tool
