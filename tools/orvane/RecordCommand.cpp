#include "tools/orvane/RecordCommand.h"

#include <memory>
#include <utility>

#include "iounit/AORecord.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/UnitRun.h"

namespace orvane::tool {

RecordCommand::RecordCommand(CLI::App& parent) : Command(parent, "record", "Record the audio input to a file") {
  options()
      .add_option("PATH", mPath, "File to write; one that is there is erased when recording starts")
      ->required()
      ->type_name("")
      ->check([](const std::string& path) {
        return path == "-" ? "\"-\" is not standard output here; write ./- for a file of that name" : std::string();
      });
  addNumber(options(), "--client-rate", mClientRate, {1, 768000, "whole hertz, from 1 to 768000", true},
            "Rate in hertz at which the input is recorded (default the hardware's)")
      ->type_name("HZ");
  mUnit.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Ends at --seconds, at the end of the input, or with Ctrl-C; the file is complete then, and lacks half a second\n"
      "at most where the tool is killed. It is a WAVE file of 16-bit samples with the hardware input's channels, and\n"
      "becomes RF64 when it outgrows 4 GiB.\n\n"
      "Example:\n"
      "  orvane --simulate mic=tone:440:0.5,pace=fast record tone.wav --seconds 2");
}

Outcome RecordCommand::run(const Invocation& invocation) {
  std::shared_ptr<AORecord> recorder = AORecord::initWithFilePath(mPath);
  if (mClientRate) recorder->setClientSampleRate(*mClientRate);
  return runUnit(invocation, {.input = true, .seconds = mSeconds}, mUnit, std::move(recorder));
}

}  // namespace orvane::tool
