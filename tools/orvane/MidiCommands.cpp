// SPDX-License-Identifier: MIT
#include "tools/orvane/MidiCommands.h"

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "midi/OVMIDIMonitor.h"
#include "midi/OVMIDIPlayer.h"
#include "midi/OVMIDISend.h"
#include "midi/OVMIDISetup.h"
#include "platform/EventLoop.h"
#include "platform/MidiReport.h"
#include "tools/orvane/MidiRun.h"
#include "tools/orvane/report/ExitReport.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/FailureReason.h"
#include "tools/orvane/report/LogLines.h"

namespace orvane::tool {

using platform::MidiReport;

namespace {

/// The protocols by the names that --protocol takes; the index is the number of the library.
constexpr const char* protocols[] = {"1.0", "1.0-ump", "2.0"};

void addProtocol(CLI::App& options, std::int64_t& protocol) {
  const auto take = [&protocol](const std::string& text) {
    for (std::int64_t number = 0; number < 3; ++number) {
      if (text == protocols[number]) return void(protocol = number);
    }
    throw CLI::ValidationError("--protocol", "\"" + text + "\" is not a protocol; it takes 1.0, 1.0-ump or 2.0");
  };
  options
      .add_option_function<std::string>("--protocol", take, "MIDI protocol (default 1.0, the only one that can send)")
      ->type_name("1.0|1.0-ump|2.0");
}

}  // namespace

// ---- send

MidiSendCommand::MidiSendCommand(CLI::App& parent)
    : Command(parent, "send", "Send MIDI messages, given as hexadecimal text, and print them") {
  options()
      .add_option("TEXT", mTexts, "Bytes as pairs of hexadecimal digits; a bar (|) starts a new packet")
      ->type_name("");
  options().add_flag("-i", mIsInteractive, "Send lines of standard input until its end");
  options().add_option("--to", mDestination, "Name of the destination (default: the first one)")->type_name("NAME");
  addProtocol(options(), mProtocol);
  options().footer(
      "Each TEXT is sent on its own, in order. What is sent is printed on standard output, so with --json the object "
      "goes to standard error.\n\n"
      "Example:\n"
      "  orvane --simulate midi-capture=sent.jsonl midi send '90 3C 7F | 80 3C 00'");
}

Outcome MidiSendCommand::run(const Invocation& invocation) {
  if (mIsInteractive && !mTexts.empty()) {
    throw ToolError(ExitStatus::usageError, "-i reads from standard input and takes no TEXT");
  }
  if (!mIsInteractive && mTexts.empty()) throw ToolError(ExitStatus::usageError, "midi send needs a TEXT or -i");
  if (mIsInteractive) return interact(invocation);
  std::shared_ptr<OVMIDISend> tool;
  return runMidi(invocation, {.end = MidiRun::End::idle,
                              .classPrints = true,
                              .count = &MidiReport::sent,
                              .start =
                                  [&] {
                                    tool = OVMIDISend::init();
                                    tool->setDestinationEndpointName(mDestination);
                                    tool->setProtocol(mProtocol);
                                    for (const std::string& text : mTexts) {
                                      tool->transmit(text);
                                      if (!awaitDelivery(invocation.host)) break;
                                    }
                                  },
                              .stop = [&] { tool.reset(); }});
}

Outcome MidiSendCommand::interact(const Invocation& invocation) {
  if (const auto why = invocation.host.midiReport->whyUnavailable()) return unavailable(*why);
  const std::shared_ptr<OVMIDISend> tool = OVMIDISend::init();
  tool->setDestinationEndpointName(mDestination);
  tool->setProtocol(mProtocol);
  // Each dump appears at once, also in a pipe.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  // The library shows each failure itself.
  invocation.log->dropFailures();
  std::atomic<bool> isInterrupted = false;
  ExitReport::expect([&] { return outcomeOfEntry(invocation.host, isInterrupted); });
  // NOLINTNEXTLINE(clang-analyzer-deadcode.DeadStores): it holds the notice until the process ends
  const auto end = invocation.host.eventLoop->onSignal([&isInterrupted](int) {
    isInterrupted = true;
    std::exit(EXIT_SUCCESS);
  });
  tool->interact();
}

// ---- monitor

MidiMonitorCommand::MidiMonitorCommand(CLI::App& parent)
    : Command(parent, "monitor", "Print the MIDI messages that arrive from a source") {
  options().add_option("--from", mSource, "Name of the source (default: the first one)")->type_name("NAME");
  options().add_flag("--no-realtime", mHidesRealtime, "Leave out real-time bytes (F8 to FF)");
  addMidiSeconds(options(), mSeconds);
  options().footer(
      "Ends when --seconds have passed, when a simulated source has played its file, or with Ctrl-C.\n"
      "Each line shows the packets of a list: [TIME]: and the bytes, with times in nanoseconds of the host clock.\n\n"
      "Example:\n"
      "  orvane --simulate midi-in=song.mid,pace=fast midi monitor");
}

Outcome MidiMonitorCommand::run(const Invocation& invocation) {
  std::shared_ptr<OVMIDIMonitor> monitor;
  return runMidi(invocation, {.end = MidiRun::End::inputs,
                              .classPrints = true,
                              .seconds = mSeconds,
                              .count = &MidiReport::received,
                              .start =
                                  [&] {
                                    monitor = OVMIDIMonitor::init();
                                    monitor->setSourceEndpointName(mSource);
                                    monitor->setIncludeRealtime(!mHidesRealtime);
                                    monitor->start();
                                  },
                              .stop =
                                  [&] {
                                    monitor->stop();
                                    monitor.reset();
                                  }});
}

// ---- play

MidiPlayCommand::MidiPlayCommand(CLI::App& parent)
    : Command(parent, "play", "Play a standard MIDI file to a destination") {
  options().add_option("FILE", mPath, "Standard MIDI file to play")->required()->type_name("");
  options().add_option("--to", mDestination, "Name of the destination (required by the library)")->type_name("NAME");
  addMidiSeconds(options(), mSeconds);
  options().footer(
      "Ends at the last event, when --seconds have passed, or with Ctrl-C.\n\n"
      "Example:\n"
      "  orvane --simulate midi-capture=played.jsonl,pace=fast midi play song.mid --to Synth");
}

Outcome MidiPlayCommand::run(const Invocation& invocation) {
  std::shared_ptr<OVMIDIPlayer> player;
  return runMidi(invocation,
                 {.end = MidiRun::End::idle,
                  .activity = "playing " + mPath + " to " + mDestination.value_or("") + "; ends with Ctrl-C",
                  .seconds = mSeconds,
                  .count = &MidiReport::sent,
                  .start =
                      [&] {
                        player = OVMIDIPlayer::initWithFilePath(mPath);
                        player->setDestinationMIDIEndpointName(mDestination);
                        player->start();
                      },
                  .stop =
                      [&] {
                        player->stop();
                        player.reset();
                      }});
}

// ---- list and watch

MidiListCommand::MidiListCommand(CLI::App& parent)
    : Command(parent, "list", "Show the MIDI devices, sources and destinations") {
  options().add_flag("--properties", mShowsProperties, "Also show all properties of each object");
}

Outcome MidiListCommand::run(const Invocation& invocation) {
  if (const auto why = invocation.host.midiReport->whyUnavailable()) return unavailable(*why);
  const std::shared_ptr<OVMIDISetup> setup = OVMIDISetup::init();
  setup->setShowProperties(mShowsProperties);
  setup->print();
  return {};
}

MidiWatchCommand::MidiWatchCommand(CLI::App& parent)
    : Command(parent, "watch", "Show the MIDI setup with all properties, and then its changes") {
  addMidiSeconds(options(), mSeconds);
  options().footer("Ends when --seconds have passed or with Ctrl-C.");
}

Outcome MidiWatchCommand::run(const Invocation& invocation) {
  const std::shared_ptr<OVMIDISetup> setup = OVMIDISetup::init();
  return runMidi(invocation, {.classPrints = true,
                              .seconds = mSeconds,
                              .count = &MidiReport::received,
                              .start = [] {},
                              .loop = [&] { setup->watchProperties(); }});
}

}  // namespace orvane::tool
