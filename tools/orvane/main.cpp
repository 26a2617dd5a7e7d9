#include <algorithm>
#include <exception>
#include <string>
#include <vector>

#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/PlatformException.h"
#include "tools/orvane/CommandLine.h"
#include "tools/orvane/LogLines.h"
#include "tools/orvane/StandardStreams.h"

namespace {

using orvane::tool::CommandLine;
using orvane::tool::ExitStatus;
using orvane::tool::say;
using orvane::tool::ToolError;

namespace platform = orvane::platform;

constexpr char simulated[] = "simulated";

/// The host that was asked for, or the library's default one. Raises wrong usage, or that it is not to be had.
std::string chooseHost(const CommandLine& line) {
  const std::vector<std::string> available = platform::availableHosts();
  std::string host = line.host().value_or(line.simulate() ? simulated : available.front());
  if (host != simulated && host != "pipewire") {
    throw ToolError(ExitStatus::wrongUsage, "--host: \"" + host + "\" is no host; it takes simulated or pipewire");
  }
  if (host != simulated && line.simulate()) {
    throw ToolError(ExitStatus::wrongUsage,
                    "--simulate sets up the simulated host; it does not go with --host " + host);
  }
  if (std::find(available.begin(), available.end(), host) == available.end()) {
    throw ToolError(ExitStatus::unavailable, "this build has no " + host + " host; it has --host " + available.front());
  }
  return host;
}

void useHost(const CommandLine& line) {
  if (chooseHost(line) != simulated) return;
  if (!line.host() && !line.simulate()) {
    say("built without a sound server: using the simulated device, as --simulate would");
  }
  try {
    platform::use(platform::makeSimulatedHost(line.simulate().value_or("")));
  } catch (const platform::PlatformException& refusal) {
    throw ToolError(ExitStatus::wrongUsage, "--simulate: " + refusal.reason());
  }
}

ExitStatus runTool(int count, const char* const* arguments) {
  CommandLine line;
  if (const auto status = line.read(count, arguments)) return *status;
  useHost(line);
  const platform::Platform host = platform::current();
  // From here on SIGINT and SIGTERM stop runs; until now nothing has begun that would have to be stopped cleanly.
  host.eventLoop->watchSignals();
  orvane::tool::showLog(*host.log, line.verbose());
  return line.command().run({.host = host, .json = line.json()});
}

/// The same, with every way to fail said on standard error and turned into a status.
ExitStatus runToolAndExplain(int count, const char* const* arguments) {
  try {
    return runTool(count, arguments);
  } catch (const ToolError& error) {
    say(error.what());
    return error.status();
  } catch (const std::exception& error) {
    say(error.what());
    return ExitStatus::failed;
  }
}

}  // namespace

int main(int count, char** arguments) {
  orvane::tool::openStandardStreams();
  ExitStatus status = runToolAndExplain(count, arguments);
  if (!orvane::tool::standardOutputArrived() && status == ExitStatus::done) {
    say("standard output could not be written");
    status = ExitStatus::failed;
  }
  return static_cast<int>(status);
}
