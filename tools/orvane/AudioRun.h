// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "tools/orvane/Command.h"
#include "tools/orvane/report/Outcome.h"
#include "tools/orvane/report/RunReport.h"

namespace orvane::tool {

/// The sides of the audio hardware.
enum class Side { input, output };

/// The object that a run starts and stops: an I/O unit, an engine, a recorder or a player.
class RunSubject {
 public:
  virtual ~RunSubject() = default;

  /// Creates the object, if necessary, and applies the options of the command line. All operations throw the
  /// exceptions of the library.
  virtual void prepare() = 0;
  virtual void start() = 0;
  virtual void stop() = 0;
  /// Returns the client formats and the latency. Called after `start`.
  virtual ClientSide client() const = 0;
  /// Releases the object, which completes its files.
  virtual void release() = 0;
  /// Returns whether everything that was to be played has been played. An object for which this becomes true must stop
  /// the event loop then.
  virtual bool isFinished() const { return false; }
  /// Returns the outcome of a run that failed without an exception and without a failure of the device or of a file; an
  /// object must stop the event loop then.
  virtual std::optional<Outcome> failure() const { return std::nullopt; }
};

/// The description of a run.
struct AudioRun {
  bool input = false;   ///< Whether the run uses the hardware's input.
  bool output = false;  ///< Whether the run uses the hardware's output.
  /// Whether the run plays the input on the output, so that its latency is of interest.
  bool playsInput = false;
  /// Whether the class of the subject prints on standard output. If so, a signal that ends the run must also interrupt
  /// a blocked write.
  bool classPrints = false;
  /// Describes what the run does, for use in messages: "playing a tone on ...".
  std::string activity = {};
  /// The path of the file to which the run records; empty if it does not record.
  std::string recording = {};
  /// The device time, in seconds, after which the run ends. If empty, the run ends when its input ends or a signal
  /// arrives.
  std::optional<double> seconds;
  /// Whether the run goes on when a microphone's file has ended, with silence as its input.
  bool outlastsInput = false;
};

/// Performs a run to completion: prepares and starts the subject, waits for the end of the run, stops and releases the
/// subject, and returns the outcome. Prints on standard error what the run does (if this is a terminal and the run
/// prints nothing else) and what was recorded. An exception of the library becomes the outcome's failure.
Outcome perform(const Invocation& invocation, const AudioRun& run, RunSubject& subject);

}  // namespace orvane::tool
