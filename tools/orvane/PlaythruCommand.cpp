// SPDX-License-Identifier: MIT
#include "tools/orvane/PlaythruCommand.h"

#include "iounit/AOPlaythru.h"
#include "tools/orvane/UnitRun.h"

namespace orvane::tool {

PlaythruCommand::PlaythruCommand(CLI::App& parent)
    : Command(parent, "playthru", "Pass the audio input straight to the output") {
  mUnit.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Ends at --seconds, at the end of the input, or with Ctrl-C.\n"
      "As many channels are passed on as the side with fewer of them has. With --json, latencyFrames tells how many\n"
      "hardware frames the unit adds to the way from the input to the output.\n\n"
      "Example:\n"
      "  orvane --simulate mic=/usr/share/sounds/alsa/Front_Center.wav,speaker=heard.wav,pace=fast playthru");
}

Outcome PlaythruCommand::run(const Invocation& invocation) {
  return runUnit(invocation, {.input = true, .output = true, .seconds = mSeconds}, mUnit, AOPlaythru::init());
}

}  // namespace orvane::tool
