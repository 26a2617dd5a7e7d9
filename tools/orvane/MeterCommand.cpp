// SPDX-License-Identifier: MIT
#include "tools/orvane/MeterCommand.h"

#include "iounit/AOMeter.h"
#include "tools/orvane/UnitRun.h"

namespace orvane::tool {

MeterCommand::MeterCommand(CLI::App& parent)
    : Command(parent, "meter", "Show the level of the audio input live, one bar a channel") {
  mUnit.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Ends at --seconds, at the end of the input, or with Ctrl-C.\n"
      "The bars are 40 characters each, redrawn in place every eighth slice; a full bar is full scale.\n"
      "With --json the closing object goes to standard error, as the bars have standard output.\n\n"
      "Example:\n"
      "  orvane --simulate mic=/usr/share/sounds/alsa/Front_Center.wav meter --category PlayAndRecord");
}

Outcome MeterCommand::run(const Invocation& invocation) {
  return runUnit(invocation, {.input = true, .classPrints = true, .seconds = mSeconds}, mUnit, AOMeter::init());
}

}  // namespace orvane::tool
