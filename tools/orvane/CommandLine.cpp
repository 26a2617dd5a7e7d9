// SPDX-License-Identifier: MIT
#include "tools/orvane/CommandLine.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "tools/orvane/DeviceCommand.h"
#include "tools/orvane/MeterCommand.h"
#include "tools/orvane/PlaythruCommand.h"
#include "tools/orvane/RecordCommand.h"
#include "tools/orvane/SessionCommand.h"
#include "tools/orvane/ToneCommand.h"
#include "version.h"

namespace orvane::tool {

namespace {

constexpr char description[] =
    "Exercises the audio stack of a device: configures audio sessions, plays a test tone, meters and records the "
    "input, passes it to the output.";

constexpr char footer[] =
    "The global options may stand before or after the command. 'orvane COMMAND --help' shows a command's own.\n\n"
    "--simulate sets up a device in this process instead of real hardware, with KEY=VALUE pairs:\n"
    "  mic=FILE | tone:HZ[:AMPLITUDE] | noise[:SEED] | silence | loop   what the microphone hears\n"
    "  speaker=null | FILE    where the output goes; FILE becomes a 32-bit float WAVE file\n"
    "  rate=HZ  inputs=N  outputs=N  slice=FRAMES                       the hardware (48000, 1, 2, 256)\n"
    "  pace=real | fast       by the clock, or as fast as it goes and the same at every run\n"
    "  scenario=FILE.json     all of these from a file, and faults and refusals besides\n\n"
    "Ctrl-C, or SIGTERM, ends a run and completes its files; once more, it ends the tool at once, whatever it does.\n"
    "Exit status: 0 done (Ctrl-C included), 1 failed, 2 wrong usage, 3 a check failed, 77 no such host or device.\n\n"
    "Examples:\n"
    "  orvane session --category PlayAndRecord --activate\n"
    "  orvane device --simulate rate=44100,inputs=2\n"
    "  orvane tone --simulate speaker=tone.wav,pace=fast --seconds 2\n"
    "  orvane meter --simulate mic=tone:440:0.5 --seconds 3\n"
    "  orvane record voice.wav --simulate mic=/usr/share/sounds/alsa/Front_Center.wav";

constexpr char theCommands[] = "; the commands are session, device, tone, meter, record and playthru";

/// The usual help, with a line between what a command does and how it is used.
class HelpFormatter final : public CLI::Formatter {
 public:
  HelpFormatter() {
    column_width(36);
    label("SUBCOMMAND", "COMMAND");
  }
  std::string make_description(const CLI::App* app) const override { return app->get_description() + "\n\n"; }
};

}  // namespace

CommandLine::CommandLine() : mApp(description, "orvane") {
  // Commands take their parent's settings over as they are made, so these come first.
  mApp.fallthrough();
  mApp.formatter(std::make_shared<HelpFormatter>());
  mApp.set_help_flag("-h,--help", "Show this help and end");
  mApp.set_version_flag("--version", "orvane " ORVANE_VERSION_STRING, "Show the version and end");
  mApp.add_option("--simulate", mSimulate, "Use the simulated device, set up as given (see below)")
      ->type_name("KEY=VALUE[,...]");
  mApp.add_option("--host", mHost, "Host whose audio to use")->type_name("simulated|pipewire");
  mApp.add_flag("--json", mJson, "Print one JSON object at the end, whatever happened");
  mApp.add_flag("--verbose", mVerbose,
                "Show all lines of the platform log; without it, errors\nthat the reason of a failure does not cover");
  mApp.require_subcommand(1);
  mApp.footer(footer);

  mCommands.push_back(std::make_unique<SessionCommand>(mApp));
  mCommands.push_back(std::make_unique<DeviceCommand>(mApp));
  mCommands.push_back(std::make_unique<ToneCommand>(mApp));
  mCommands.push_back(std::make_unique<MeterCommand>(mApp));
  mCommands.push_back(std::make_unique<RecordCommand>(mApp));
  mCommands.push_back(std::make_unique<PlaythruCommand>(mApp));
}

bool CommandLine::read(int count, const char* const* arguments) {
  try {
    mApp.parse(count, arguments);
    return true;
  } catch (const CLI::Success& request) {
    mApp.exit(request);
    return false;
  } catch (const CLI::ParseError& error) {
    // Reading ends at the first error, and callbacks may not have run: look for what the report depends on.
    const std::span options(arguments, std::ranges::find(arguments, arguments + count, std::string_view("--")));
    mJson = std::ranges::any_of(options,
                                [](std::string_view option) { return option == "--json" || option == "--json=true"; });
    const auto lastOf = [this](const char* option, std::optional<std::string>& value) {
      const std::vector<std::string>& given = mApp.get_option(option)->results();
      if (!given.empty()) value = given.back();
    };
    lastOf("--host", mHost);
    lastOf("--simulate", mSimulate);
    throw ToolError(ExitStatus::wrongUsage, explain(error, {arguments, static_cast<std::size_t>(count)}));
  }
}

Command* CommandLine::command() const {
  const auto chosen = std::ranges::find_if(mCommands, [](const auto& command) { return command->wasChosen(); });
  return chosen == mCommands.end() ? nullptr : chosen->get();
}

/// Says what is wrong, and what would be right.
std::string CommandLine::explain(const CLI::ParseError& error, std::span<const char* const> arguments) const {
  std::string text = error.what();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    const bool isMissing = text.ends_with("missing");
    text = text.substr(0, text.find(':')) + (isMissing ? " needs a value" : " may be given only once");
  } else if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
             dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
    // Something unexpected is why something required is missing, more likely than not.
    std::vector<std::string> unexpected = mApp.remaining(true);
    std::erase(unexpected, "--");
    if (!unexpected.empty()) {
      text = explainUnexpected(unexpected.front(), arguments);
    } else if (command() == nullptr) {
      text = "a command is needed" + std::string(theCommands);
    }
  }
  // Global options are listed by the tool's own help only.
  const bool isGlobal =
      text.find("for 'orvane'") != std::string::npos || text.starts_with("--simulate") || text.starts_with("--host");
  return text + " (see '" + (isGlobal ? "orvane --help" : helpHint()) + "')";
}

std::string CommandLine::explainUnexpected(const std::string& argument, std::span<const char* const> arguments) const {
  const Command* const chosen = command();
  const std::string program = chosen == nullptr ? "orvane" : "orvane " + chosen->name();
  const auto firstOf = [arguments](std::string_view text) { return std::ranges::find(arguments, text); };
  const bool isBehind = chosen != nullptr && firstOf(chosen->name()) < firstOf(argument);
  if (argument.size() > 1 && argument.starts_with('-')) {
    const std::string option = argument.substr(0, argument.find('='));
    const bool isCommands = std::ranges::any_of(mCommands, [chosen, &option](const auto& each) {
      return (chosen == nullptr || each.get() == chosen) && each->takes(option);
    });
    if (isBehind || !isCommands) return "unknown option '" + option + "' for '" + (isBehind ? program : "orvane") + "'";
    return "option '" + option + "' belongs behind the command" +
           (chosen == nullptr ? ", and none is given" + std::string(theCommands)
                              : ": '" + program + " " + option + "'");
  }
  if (chosen == nullptr) return "\"" + argument + "\" is no command" + theCommands;
  return "unexpected argument '" + argument + (isBehind ? "' for '" + program : "' before '" + chosen->name()) + "'";
}

std::string CommandLine::helpHint() const {
  const auto chosen = mApp.get_subcommands();
  return chosen.empty() ? "orvane --help" : "orvane " + chosen.front()->get_name() + " --help";
}

}  // namespace orvane::tool
