// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "tools/orvane/report/LogLines.h"
#include "tools/orvane/report/Outcome.h"

namespace CLI {
class App;
}  // namespace CLI

namespace orvane::tool {

/// The context in which a command runs.
struct Invocation {
  platform::Platform host;        ///< The services in use.
  std::shared_ptr<LogLines> log;  ///< Shows the lines of the host's log on standard error.
  bool json = false;  ///< The result is reported as a JSON object, so the command must not print on standard output.
};

/// A command of the tool. The constructor of a derived class declares the command's options; `run` executes the
/// command.
class Command {
 public:
  /// Creates a command and adds it to the parser `parent`.
  Command(CLI::App& parent, const std::string& name, const std::string& description);
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command() = default;

  /// Executes the command and returns its outcome. Called once, after the command line was parsed. Throws `ToolError`
  /// or `platform::PlatformException` if the command fails before it has anything to report.
  virtual Outcome run(const Invocation& invocation) = 0;

  /// Returns whether the library class that the command uses prints on standard output.
  virtual bool classPrints() const { return false; }
  /// Returns whether `option` is one of this command's own options, not one of the tool's global options.
  bool takes(const std::string& option) const;
  /// Returns the command's name on the command line, such as "meter" or "midi play".
  std::string name() const;
  /// Returns the last word of the name.
  std::string lastWord() const;
  /// Returns whether the command line contains this command. Valid after the command line was parsed.
  bool wasChosen() const;

 protected:
  CLI::App& options() { return mOptions; }

 private:
  CLI::App& mOptions;
};

}  // namespace orvane::tool
