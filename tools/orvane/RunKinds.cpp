// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "iounit/AOMeter.h"
#include "iounit/AOPlaythru.h"
#include "iounit/AORecord.h"
#include "iounit/OVIOUnit.h"
#include "iounit/OVTestTone.h"
#include "platform/DeviceReport.h"
#include "platform/NumberText.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/RunCommand.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/StandardStreams.h"

namespace orvane::tool {

namespace {

using platform::numberText;

/// The minimum frequency of the tone, in hertz. At lower frequencies a period has more samples than the oscillator's
/// single-precision phase can count.
constexpr double minFrequency = 0.1;
constexpr double maxRate = 768000;
/// The ratio of a perfect fifth, from the left channel's frequency to the right one's.
constexpr double fifth = 1.5;

void declareTone(CLI::App& options, RunSettings& settings) {
  addNumber(options, {"--frequency", "HZ", minFrequency, maxRate / 2, "hertz, from 0.1 to half the rate"},
            settings.frequency,
            "Frequency of the left channel in hertz (default 261); the right channel sounds a fifth above, at 1.5 "
            "times the frequency");
  addNumber(options, {"--amplitude", "A", 0, 1, "0 to 1, where 1 is full scale"}, settings.amplitude,
            "Peak amplitude of both channels, 0 to 1 (default 0.25)");
  options.add_flag("--monotone", settings.monotone, "Play the left channel's frequency on the right channel as well");
  addNumber(options, {"--client-rate", "HZ", 1, maxRate, "hertz, from 1 to 768000"}, settings.clientRate,
            "Rate in hertz at which the tone is rendered (default the hardware's)");
}

/// Throws a `ToolError` (usage error) if a channel's frequency is above half the rate at which the tone is rendered.
void checkFrequency(double frequency, double rate, bool monotone) {
  if (rate <= 0) return;  // The hardware reports no rate; the library will refuse to start.
  const double max = rate / 2 / (monotone ? 1 : fifth);
  if (frequency <= max) return;
  std::string reason = "--frequency: " + numberText(frequency) + " is out of range at a rate of " + numberText(rate) +
                       "; it takes hertz, from " + numberText(minFrequency) + " to " + numberText(max);
  if (!monotone) {
    reason += " (the right channel sounds a fifth above; to " + numberText(rate / 2) + " with --monotone)";
  }
  throw ToolError(ExitStatus::usageError, reason);
}

std::shared_ptr<OVIOUnit> makeTone(const RunSettings& settings, const platform::DeviceReport& report) {
  std::shared_ptr<OVTestTone> tone = OVTestTone::init();
  if (settings.frequency) tone->setFrequency(*settings.frequency);
  if (settings.amplitude) tone->setAmplitude(static_cast<float>(*settings.amplitude));
  if (settings.clientRate) tone->setClientSampleRate(*settings.clientRate);
  tone->setMonotone(settings.monotone);
  checkFrequency(tone->frequency(), settings.clientRate.value_or(report.hardwareOutput().sampleRate()),
                 settings.monotone);
  return tone;
}

void declareRecord(CLI::App& options, RunSettings& settings) {
  options.add_option("PATH", settings.path, "File to write; an existing file is replaced when the first frames arrive")
      ->required()
      ->type_name("")
      ->check([](const std::string& path) {
        if (path.empty()) return std::string("the path is empty; it takes the path of a file to write");
        return path == "-" ? "standard output is not supported; write ./- for a file named \"-\"" : std::string();
      });
  addNumber(options, {"--client-rate", "HZ", 1, maxRate, "whole hertz, from 1 to 768000", true}, settings.clientRate,
            "Rate in hertz at which the input is recorded (default the hardware's)");
}

/// Prints a warning if the extension of the file name belongs to another file format than WAVE, which is always
/// written.
void warnOfExtension(const std::string& path) {
  constexpr std::string_view others[] = {".aac",  ".ac3", ".aif",  ".aifc", ".aiff", ".amr", ".ape", ".au",  ".caf",
                                         ".flac", ".m4a", ".m4b",  ".mka",  ".mp2",  ".mp3", ".mp4", ".oga", ".ogg",
                                         ".opus", ".raw", ".rf64", ".snd",  ".voc",  ".w64", ".wma", ".wv",  ".webm"};
  std::string extension = std::filesystem::path(path).extension();
  for (char& letter : extension) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  if (std::ranges::find(others, extension) == std::end(others)) return;
  say(path + " is written as WAVE, whatever its extension");
}

std::shared_ptr<OVIOUnit> makeRecord(const RunSettings& settings, const platform::DeviceReport&) {
  warnOfExtension(settings.path);
  std::shared_ptr<AORecord> recorder = AORecord::initWithFilePath(settings.path);
  if (settings.clientRate) recorder->setClientSampleRate(*settings.clientRate);
  return recorder;
}

constexpr RunKind kinds[] = {
    {.name = "tone",
     .description = "Play a sine test tone",
     .footer = "Plays until --seconds have passed or Ctrl-C is pressed.\n\n"
               "Example:\n"
               "  orvane --simulate speaker=a.wav,pace=fast tone --frequency 440 --seconds 2",
     .usesInput = false,
     .usesOutput = true,
     .classPrints = false,
     .declare = declareTone,
     .make = makeTone,
     .activity = [](const RunSettings&,
                    const std::string& host) { return "playing a tone on the output of the " + host + " host"; }},
    {.name = "meter",
     .description = "Show the level of the audio input live, one bar per channel",
     .footer = "Ends when --seconds have passed, at the end of the input, or with Ctrl-C.\n"
               "Each bar has up to 40 characters; 40 is full scale. Bars are redrawn in place after every eighth "
               "slice. They are printed on standard output, so with --json the object goes to standard error.\n\n"
               "Example:\n"
               "  orvane --simulate mic=/usr/share/sounds/alsa/Front_Center.wav meter",
     .usesInput = true,
     .usesOutput = false,
     .classPrints = true,
     .declare = nullptr,
     .make = [](const RunSettings&, const platform::DeviceReport&) -> std::shared_ptr<OVIOUnit> {
       return AOMeter::init();
     },
     .activity = [](const RunSettings&,
                    const std::string& host) { return "metering the input of the " + host + " host"; }},
    {.name = "record",
     .description = "Record the audio input to a file",
     .footer = "Ends when --seconds have passed, at the end of the input, or with Ctrl-C. The file is then complete; "
               "if the tool is killed, at most the last half second is missing. It is a WAVE file with 16-bit samples "
               "and the channels of the hardware input, whatever its extension. From 4 GiB on it becomes RF64.\n\n"
               "Example:\n"
               "  orvane --simulate mic=tone:440:0.5,pace=fast record a.wav --seconds 2",
     .usesInput = true,
     .usesOutput = false,
     .classPrints = false,
     .declare = declareRecord,
     .make = makeRecord,
     .activity =
         [](const RunSettings& settings, const std::string& host) {
           return "recording the input of the " + host + " host to " + settings.path;
         }},
    {.name = "playthru",
     .description = "Pass the audio input to the output",
     .footer = "Ends when --seconds have passed, at the end of the input, or with Ctrl-C.\n"
               "If input and output differ in their number of channels, the smaller number is passed. With --json, "
               "latencyFrames is the latency in hardware frames from the input to the output: the unit's and what the "
               "hardware reports.\n\n"
               "Example:\n"
               "  orvane --simulate mic=tone:440:0.5,speaker=a.wav playthru --seconds 2",
     .usesInput = true,
     .usesOutput = true,
     .classPrints = false,
     .declare = nullptr,
     .make = [](const RunSettings&, const platform::DeviceReport&) -> std::shared_ptr<OVIOUnit> {
       return AOPlaythru::init();
     },
     .activity = [](const RunSettings&,
                    const std::string& host) { return "passing input to output on the " + host + " host"; }},
};

}  // namespace

std::span<const RunKind> runKinds() {
  return kinds;
}

}  // namespace orvane::tool
