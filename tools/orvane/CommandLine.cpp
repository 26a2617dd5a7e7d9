// SPDX-License-Identifier: MIT
#include "tools/orvane/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>
#include <utility>

#include "platform/NumberText.h"
#include "tools/orvane/DeviceCommand.h"
#include "tools/orvane/EngineCommands.h"
#include "tools/orvane/FormatsCommand.h"
#include "tools/orvane/HelpFormatter.h"
#include "tools/orvane/MidiCommands.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/QueueCommands.h"
#include "tools/orvane/RunCommand.h"
#include "tools/orvane/SessionCommand.h"
#include "tools/orvane/SoundCommand.h"
#include "tools/orvane/report/ExitStatus.h"
#include "version.h"

namespace orvane::tool {

namespace {

constexpr char description[] =
    "Exercises the audio and MIDI stack of a device: configures audio sessions, plays a test tone, meters and records "
    "the input, passes it to the output, and sends, monitors, plays and lists MIDI.";

constexpr char footer[] =
    "Global options may stand before or after the command. 'orvane COMMAND --help' shows the options of a command.\n\n"
    "--simulate uses a device simulated in this process instead of real hardware:\n"
    "  mic=FILE|tone:HZ[:AMPLITUDE]|noise[:SEED]|silence|loop   the input's signal\n"
    "  speaker=null|FILE      destination of the output: nowhere, or a WAVE file\n"
    "  rate=HZ                sample rate of the hardware (default 48000)\n"
    "  inputs=N, outputs=N    channels of the hardware (defaults 1 and 2)\n"
    "  slice=FRAMES           frames per device callback (default 256)\n"
    "  pace=real|fast         real time, or as fast as possible with reproducible\n"
    "                         results (default real)\n"
    "  midi=FILE.json         MIDI devices (default: a keyboard and a loop-back)\n"
    "  midi-in=FILE.mid       standard MIDI file that the first source plays\n"
    "  midi-capture=FILE      file that records what MIDI destinations receive\n"
    "  scenario=FILE.json     all of these from a file, with faults and refusals\n\n"
    "Ctrl-C (SIGINT), SIGTERM and SIGHUP end a run and complete its files. A second one ends the tool immediately.\n"
    "Exit status: 0 done (also after Ctrl-C), 1 failed, 2 usage error, 3 a check failed, 77 no such host or device.\n\n"
    "Examples:\n"
    "  orvane session --category PlayAndRecord --activate\n"
    "  orvane device --simulate rate=44100,inputs=2\n"
    "  orvane tone --simulate speaker=tone.wav,pace=fast --seconds 2\n"
    "  orvane meter --simulate mic=tone:440:0.5 --seconds 3\n"
    "  orvane record voice.wav --simulate mic=/usr/share/sounds/alsa/Front_Center.wav";

constexpr const char* globalOptions[] = {"--simulate", "--host", "--input", "--output", "--rate", "--slice"};

}  // namespace

CommandLine::CommandLine() : mApp(std::make_unique<CLI::App>(description, "orvane")) {
  // Commands copy their parent's settings when they are created, so the settings come first.
  mApp->fallthrough();
  mApp->formatter(makeHelpFormatter());
  mApp->set_help_flag("-h,--help", "Show this help and exit");
  mApp->set_version_flag("--version", "orvane " ORVANE_VERSION_STRING, "Show the version and exit");
  mApp->add_option("--simulate", mSimulate, "Use a simulated device with these settings (see below)")
      ->type_name("KEY=VALUE[,...]");
  mApp->add_option("--host", mHost, "Host whose audio services to use")->type_name("simulated|pipewire");
  const auto isName = [](const std::string& name) {
    return name.empty() ? "the name is empty; it takes a name from 'device --list', or none" : std::string();
  };
  mApp->add_option("--input", mInput, "Input of the sound server to use, by name or description (see 'device --list')")
      ->type_name("NODE|none")
      ->check(isName);
  mApp->add_option("--output", mOutput, "Output of the sound server to use")->type_name("NODE|none")->check(isName);
  addNumber(*mApp, {"--rate", "HZ", 1, 768000, "whole hertz, from 1 to 768000", true}, mRate,
            "Sample rate to ask of the sound server");
  addNumber(*mApp, {"--slice", "FRAMES", 1, 8192, "whole frames, from 1 to 8192", true}, mSlice,
            "Frames per slice to ask of the sound server");
  mApp->add_flag("--json", mJson, "Print one JSON object at the end, also after a failure");
  mApp->add_flag("--verbose", mVerbose,
                 "Show every line of the platform log (default: errors that the reported failure does not cover)");
  mApp->require_subcommand(1);
  mApp->footer(footer);

  mCommands.push_back(std::make_unique<SessionCommand>(*mApp));
  mCommands.push_back(std::make_unique<DeviceCommand>(*mApp));
  for (const RunKind& kind : runKinds()) mCommands.push_back(std::make_unique<RunCommand>(*mApp, kind));
  CLI::App& engine = addGroup("engine", "Play and record files through the graph engine: engine play|record");
  mCommands.push_back(std::make_unique<EnginePlayCommand>(engine));
  mCommands.push_back(std::make_unique<EngineRecordCommand>(engine));
  CLI::App& queue = addGroup("queue", "Record and play files through buffer queues: queue record|play");
  mCommands.push_back(std::make_unique<QueueRecordCommand>(queue));
  mCommands.push_back(std::make_unique<QueuePlayCommand>(queue));
  mCommands.push_back(std::make_unique<FormatsCommand>(*mApp));
  mCommands.push_back(std::make_unique<SoundCommand>(*mApp));
  CLI::App& midi = addGroup("midi", "Send, receive, play and list MIDI");
  mCommands.push_back(std::make_unique<MidiSendCommand>(midi));
  mCommands.push_back(std::make_unique<MidiMonitorCommand>(midi));
  mCommands.push_back(std::make_unique<MidiPlayCommand>(midi));
  mCommands.push_back(std::make_unique<MidiListCommand>(midi));
  mCommands.push_back(std::make_unique<MidiWatchCommand>(midi));
}

CommandLine::~CommandLine() = default;

CLI::App& CommandLine::addGroup(const std::string& name, const std::string& groupDescription) {
  CLI::App& group = *mApp->add_subcommand(name, groupDescription);
  group.group("Commands")->require_subcommand(1);
  return group;
}

bool CommandLine::read(int count, const char* const* arguments) {
  try {
    mApp->parse(count, arguments);
    return true;
  } catch (const CLI::Success& request) {
    mApp->exit(request);
    return false;
  } catch (const CLI::ParseError& error) {
    recoverGlobalOptions({arguments, static_cast<std::size_t>(count)});
    throw ToolError(ExitStatus::usageError, explain(error, {arguments, static_cast<std::size_t>(count)}));
  }
}

void CommandLine::recoverGlobalOptions(std::span<const char* const> arguments) {
  // Parsing ends at the first error, so options after it have not been stored.
  const auto isJson = [](std::string_view option) { return option == "--json" || option == "--json=true"; };
  mJson = std::any_of(arguments.begin(), std::ranges::find(arguments, std::string_view("--")), isJson);
  const auto recover = [this](const char* option, std::optional<std::string>& value) {
    const std::vector<std::string>& given = mApp->get_option(option)->results();
    if (!given.empty()) value = given.back();
  };
  recover("--host", mHost);
  recover("--simulate", mSimulate);
}

std::string CommandLine::deviceOptions() const {
  std::string options;
  const auto add = [&options](const char* key, const std::string& value) {
    options += (options.empty() ? "" : ",") + std::string(key) + "=";
    for (const char character : value) {
      if (character == ',' || character == '\\') options += '\\';
      options += character;
    }
  };
  if (mInput) add("input", *mInput);
  if (mOutput) add("output", *mOutput);
  if (mRate) add("rate", platform::numberText(*mRate));
  if (mSlice) add("slice", platform::numberText(*mSlice));
  return options;
}

Command* CommandLine::command() const {
  const auto chosen = std::ranges::find_if(mCommands, [](const auto& command) { return command->wasChosen(); });
  return chosen == mCommands.end() ? nullptr : chosen->get();
}

std::string CommandLine::explain(const CLI::ParseError& error, std::span<const char* const> arguments) const {
  const Command* const chosen = command();
  std::string text = error.what();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    const bool isMissing = text.ends_with("missing");
    text = text.substr(0, text.find(':')) + (isMissing ? " needs a value" : " may be given only once");
  } else if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
             dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
    // If a required argument is missing and another one was unexpected, the latter is the likely mistake.
    std::vector<std::string> unexpected = mApp->remaining(true);
    std::erase(unexpected, "--");
    if (!unexpected.empty()) {
      text = explainUnexpected(unexpected.front(), arguments);
    } else if (chosen == nullptr) {
      text = "a command is needed" + listCommands();
    }
  }
  // Global options are listed only in the tool's own help.
  const auto names = [&text](const char* option) { return text.starts_with(option); };
  const bool isGlobal =
      chosen == nullptr || text.find("for 'orvane'") != std::string::npos || std::ranges::any_of(globalOptions, names);
  return text + " (see 'orvane " + (isGlobal ? "" : chosen->name() + " ") + "--help')";
}

std::string CommandLine::explainUnexpected(const std::string& argument, std::span<const char* const> arguments) const {
  const Command* const chosen = command();
  const std::string program = chosen == nullptr ? "orvane" : "orvane " + chosen->name();
  const auto firstOf = [arguments](std::string_view text) { return std::ranges::find(arguments, text); };
  const bool isAfterCommand = chosen != nullptr && firstOf(chosen->lastWord()) < firstOf(argument);
  if (argument.size() > 1 && argument.starts_with('-')) {
    const std::string option = argument.substr(0, argument.find('='));
    const bool isOfCommand = std::ranges::any_of(mCommands, [chosen, &option](const auto& each) {
      return (chosen == nullptr || each.get() == chosen) && each->takes(option);
    });
    if (isAfterCommand || !isOfCommand) {
      return "unknown option '" + option + "' for '" + (isAfterCommand ? program : "orvane") + "'";
    }
    if (chosen == nullptr) return "option '" + option + "' needs a command before it" + listCommands();
    return "option '" + option + "' must follow the command: '" + program + " " + option + "'";
  }
  if (chosen == nullptr) return "unknown command '" + argument + "'" + listCommands();
  return "unexpected argument '" + argument + (isAfterCommand ? "' for '" + program : "' before '" + chosen->name()) +
         "'";
}

std::string CommandLine::listCommands() const {
  const auto groups = mApp->get_subcommands();
  const std::string group = groups.empty() ? "" : groups.front()->get_name() + " ";
  std::vector<std::string> words;
  for (const auto& command : mCommands) {
    const std::string name = command->name();
    if (!name.starts_with(group)) continue;
    const std::string rest = name.substr(group.size());
    std::string word = rest.substr(0, rest.find(' '));
    if (words.empty() || words.back() != word) words.push_back(std::move(word));
  }
  std::string list =
      groups.empty() ? "; the commands are " : "; the commands of " + groups.front()->get_name() + " are ";
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) list += i + 1 < words.size() ? ", " : " and ";
    list += words[i];
  }
  return list;
}

}  // namespace orvane::tool
