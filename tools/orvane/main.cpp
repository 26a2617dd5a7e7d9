// SPDX-License-Identifier: MIT
#include <algorithm>
#include <csignal>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/PlatformException.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/CommandLine.h"
#include "tools/orvane/report/ClosingReport.h"
#include "tools/orvane/report/ExitReport.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/FailureReason.h"
#include "tools/orvane/report/LogLines.h"
#include "tools/orvane/report/Outcome.h"
#include "tools/orvane/report/StandardStreams.h"

namespace {

using namespace orvane::tool;

namespace platform = orvane::platform;

constexpr char simulated[] = "simulated";

/// Returns the name of the host that the command line selects, or of the library's default host.
std::string hostName(const CommandLine& line) {
  return line.host().value_or(line.simulate() ? simulated : platform::availableHosts().front());
}

/// Returns the name of the host to use. Throws a `ToolError` for a usage error or if the host is not available.
std::string chooseHost(const CommandLine& line) {
  const std::vector<std::string> known = platform::knownHosts();
  const std::vector<std::string> available = platform::availableHosts();
  std::string host = hostName(line);
  if (std::ranges::find(known, host) == known.end()) {
    std::string names;
    for (const std::string& name : known) names += (names.empty() ? "" : " or ") + name;
    throw ToolError(ExitStatus::usageError, "--host: unknown host \"" + host + "\"; it takes " + names);
  }
  if (host != simulated && line.simulate()) {
    throw ToolError(ExitStatus::usageError,
                    "--simulate sets up the simulated host and cannot be combined with --host " + host);
  }
  if (host == simulated && !line.deviceOptions().empty()) {
    throw ToolError(ExitStatus::usageError,
                    "--input, --output, --rate and --slice ask for a device of the sound server; use the keys of "
                    "--simulate for the simulated one");
  }
  if (std::ranges::find(available, host) == available.end()) {
    throw ToolError(ExitStatus::unavailable, "this build has no " + host + " host; it has --host " + available.front());
  }
  return host;
}

void useHost(const CommandLine& line) {
  const std::string host = chooseHost(line);
  if (host != simulated) {
    try {
      return platform::use(platform::makeHost(host, line.deviceOptions()));
    } catch (const platform::PlatformException& refusal) {
      throw ToolError(ExitStatus::unavailable, refusal.reason());
    }
  }
  if (!line.host() && !line.simulate()) {
    say("built without a sound server: using the simulated device, as --simulate would");
  }
  try {
    platform::use(platform::makeSimulatedHost(line.simulate().value_or("")));
  } catch (const platform::PlatformException& refusal) {
    throw ToolError(ExitStatus::usageError, "--simulate: " + refusal.reason());
  }
}

Outcome perform(Command& command, const Invocation& invocation) {
  try {
    return command.run(invocation);
  } catch (const ToolError& error) {
    return failed(error.status(), error.what());
  } catch (const std::exception& error) {
    return refused(invocation.host, reasonOf(invocation, error.what()));
  }
}

Outcome runCommand(const CommandLine& line) {
  useHost(line);
  const platform::Platform host = platform::current();
  // From here on, signals stop a run cleanly. Before this point, nothing has been started that would need a clean stop.
  host.eventLoop->watchSignals();
  const auto log = LogLines::attach(*host.log, line.verbose());
  Outcome outcome = perform(*line.command(), {.host = host, .log = log, .json = line.json()});
  log->finish(outcome.error);
  return outcome;
}

/// Parses the command line and runs the command. Returns the outcome, or `std::nullopt` after printing help or the
/// version.
std::optional<Outcome> runTool(CommandLine& line, int count, const char* const* arguments) {
  try {
    if (!line.read(count, arguments)) return std::nullopt;
    return runCommand(line);
  } catch (const ToolError& error) {
    return failed(error.status(), error.what());
  } catch (const std::exception& error) {
    return failed(ExitStatus::failed, error.what());
  }
}

/// Creates the closing report according to the command line.
ClosingReport closingReport(const CommandLine& line) {
  ClosingReport report{.host = hostName(line)};
  if (const Command* command = line.command()) {
    report.command = command->name();
    report.onStandardError = command->classPrints();
  }
  // The JSON service comes from a separate host, because after a usage error, or if the host is missing, no host is in
  // use.
  if (line.json()) report.json = platform::makeSimulatedHost().json;
  return report;
}

}  // namespace

int main(int count, char** arguments) {
  openStandardStreams();
  // A reader that closes its pipe is not a failure. This applies until a host watches signals.
  std::signal(SIGPIPE, SIG_IGN);
  CommandLine line;
  ExitReport::prepare([&line](const Outcome& outcome) { return closingReport(line).print(outcome); });
  const std::optional<Outcome> outcome = runTool(line, count, arguments);
  return static_cast<int>(outcome ? closingReport(line).print(*outcome) : ClosingReport().print({}));
}
