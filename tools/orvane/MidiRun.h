// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/MidiReport.h"
#include "platform/Platform.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/report/Outcome.h"

namespace CLI {
class App;
}  // namespace CLI

namespace orvane::tool {

/// The description of a run of MIDI.
struct MidiRun {
  /// The event that ends the run, in addition to a signal, a failure and --seconds.
  enum class End {
    never,
    idle,    ///< Everything that was to be sent is sent.
    inputs,  ///< Every source that plays a file and has started has come to its end, and everything is delivered. Not
             ///< with --seconds.
  };

  End end = End::never;
  bool classPrints = false;  ///< Whether the class prints on standard output.
  /// Describes what the run does and how it ends, for a message on a terminal; empty if the run prints something
  /// itself.
  std::string activity = {};
  /// The time since the creation of the host, in seconds, after which the run ends; empty for no limit.
  std::optional<double> seconds = {};
  /// Returns the packets that the outcome reports.
  platform::MidiCount (platform::MidiReport::*count)() const = nullptr;
  /// Begins the run. May throw the exceptions of the library.
  std::function<void()> start = {};
  /// Runs the event loop until it is stopped. If empty, the tool does so itself.
  std::function<void()> loop = {};
  /// Ends the run and releases its objects. Not called after a failure; may throw the exceptions of the library.
  std::function<void()> stop = [] {};
};

/// Adds the option --seconds to the parser.
void addMidiSeconds(CLI::App& options, std::optional<double>& seconds);

/// Returns the outcome of interactive entry, which ended at the end of the input or, if `isInterrupted`, at a signal.
Outcome outcomeOfEntry(const platform::Platform& host, bool isInterrupted);

/// Waits until everything that was sent so far is delivered. Returns false if a signal came first.
bool awaitDelivery(const platform::Platform& host);

/// Runs MIDI to its end and returns the outcome. An exception of the library becomes the outcome's failure; what was
/// sent before it is still delivered.
Outcome runMidi(const Invocation& invocation, const MidiRun& run);

}  // namespace orvane::tool
