// SPDX-License-Identifier: MIT
#include "tools/orvane/RecordCommand.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include "iounit/AORecord.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/StandardStreams.h"
#include "tools/orvane/UnitRun.h"

namespace orvane::tool {

namespace {

/// Warns if the file's name promises another container than the one that is written.
void warnOfName(const std::string& path) {
  constexpr std::string_view others[] = {".aac",  ".ac3", ".aif", ".aifc", ".aiff", ".amr", ".ape", ".au",  ".caf",
                                         ".flac", ".m4a", ".m4b", ".mka",  ".mp2",  ".mp3", ".mp4", ".oga", ".ogg",
                                         ".opus", ".raw", ".snd", ".voc",  ".w64",  ".wma", ".wv",  ".webm"};
  std::string extension = std::filesystem::path(path).extension();
  for (char& letter : extension) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  if (std::ranges::find(others, extension) == std::end(others)) return;
  say(path + " is written as WAVE: the container does not depend on the file's name");
}

}  // namespace

RecordCommand::RecordCommand(CLI::App& parent) : Command(parent, "record", "Record the audio input to a file") {
  options()
      .add_option("PATH", mPath, "File to write; an existing one is replaced when the first sound is written")
      ->required()
      ->type_name("")
      ->check([](const std::string& path) {
        if (path.empty()) return std::string("the path is empty; it takes the path of a file to write");
        return path == "-" ? "\"-\" is not standard output here; write ./- for a file of that name" : std::string();
      });
  addNumber(options(), "--client-rate", mClientRate, {1, 768000, "whole hertz, from 1 to 768000", true},
            "Rate in hertz at which the input is recorded (default the hardware's)")
      ->type_name("HZ");
  mUnit.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Ends at --seconds, at the end of the input, or with Ctrl-C; the file is complete then, and lacks half a second\n"
      "at most where the tool is killed. Whatever its name, it is a WAVE file of 16-bit samples with the hardware\n"
      "input's channels, and becomes RF64 when it outgrows 4 GiB.\n\n"
      "Example:\n"
      "  orvane --simulate mic=tone:440:0.5,pace=fast record tone.wav --seconds 2");
}

Outcome RecordCommand::run(const Invocation& invocation) {
  warnOfName(mPath);
  std::shared_ptr<AORecord> recorder = AORecord::initWithFilePath(mPath);
  if (mClientRate) recorder->setClientSampleRate(*mClientRate);
  return runUnit(invocation, {.input = true, .recording = mPath, .seconds = mSeconds}, mUnit, std::move(recorder));
}

}  // namespace orvane::tool
