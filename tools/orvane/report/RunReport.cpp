// SPDX-License-Identifier: MIT
#include "tools/orvane/report/RunReport.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Pexutil/Source/Utility/PXX4CCString.h"
#include "platform/DeviceReport.h"
#include "platform/FileReport.h"
#include "platform/NumberText.h"
#include "session/OVJSON.h"
#include "tools/orvane/AudioRun.h"
#include "tools/orvane/report/ClosingReport.h"
#include "tools/orvane/report/StandardStreams.h"

namespace orvane::tool {

namespace {

using platform::Value;
using Format = std::optional<platform::StreamFormat>;

Value describe(const platform::Platform& host, const platform::WrittenFile& file) {
  const PXX4CCStringNoQuote type(static_cast<std::int32_t>(file.type));
  return Value::dictionary(
      {{"path", jsonText(*host.json, file.path)}, {"type", type.c_str()}, {"frames", file.frames}});
}

void addFiles(const platform::Platform& host, Value& object) {
  Value::Array files;
  for (const auto& file : host.fileReport->writtenFiles()) files.push_back(describe(host, file));
  if (files.size() == 1) object.set("file", std::move(files.front()));
  if (files.size() > 1) object.set("files", std::move(files));
}

void sayWhatWasWritten(const platform::WrittenFile& file, const Format& format) {
  std::string text = "wrote " + std::to_string(file.frames) + " frames";
  if (format && format->sampleRate() > 0) {
    constexpr double milliseconds = 1000;
    const double seconds = static_cast<double>(file.frames) / format->sampleRate();
    text += " (" + platform::numberText(std::round(seconds * milliseconds) / milliseconds) + " s)";
  }
  say(text + " to " + file.path);
}

}  // namespace

Value describeSides(const Format& input, const Format& output) {
  Value result = Value::dictionary();
  if (input) result.set("input", jsonASBD(input->description()));
  if (output) result.set("output", jsonASBD(output->description()));
  return result;
}

void sayWhatRan(const platform::Platform& host, const ClientSide& client, bool json) {
  const std::uint64_t gaps = host.deviceReport->runCount().discontinuities;
  if (gaps > 0) {
    say("frames are missing in " + std::to_string(gaps) + (gaps == 1 ? " place" : " places") +
        ": the device was interrupted");
  }
  if (json) return;
  for (const auto& file : host.fileReport->writtenFiles()) sayWhatWasWritten(file, client.input);
}

Value describeRun(const platform::Platform& host, const AudioRun& run, const ClientSide& client) {
  const platform::DeviceReport& report = *host.deviceReport;
  const platform::RunCount count = report.runCount();
  const double rate = count.sampleRate;
  Value object = Value::dictionary({{"seconds", rate > 0 ? static_cast<double>(count.frames) / rate : 0.0},
                                    {"frames", count.frames},
                                    {"slice", count.maxSliceFrames},
                                    {"discontinuities", count.discontinuities},
                                    {"overruns", count.overruns}});
  object.set("hardware", describeSides(run.input ? Format(report.hardwareInput()) : Format(),
                                       run.output ? Format(report.hardwareOutput()) : Format()));
  // A unit that was never started has neither client formats nor a latency.
  if (!client.input && !client.output) return object;
  object.set("client", describeSides(client.input, client.output));
  if (run.playsInput) object.set("latencyFrames", client.latency.input + client.latency.output);
  addFiles(host, object);
  return object;
}

}  // namespace orvane::tool
