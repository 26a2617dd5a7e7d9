#include "tools/orvane/RunReport.h"

#include <cmath>
#include <cstdio>

#include "Pexutil/Source/Utility/PXX4CCString.h"
#include "platform/Json.h"
#include "platform/NumberText.h"
#include "platform/Value.h"
#include "session/OVJSON.h"
#include "tools/orvane/EscapedText.h"
#include "tools/orvane/StandardStreams.h"
#include "tools/orvane/UnitRun.h"

namespace orvane::tool {

namespace {

using platform::Value;
using Format = std::optional<platform::StreamFormat>;

/// Text that JSON can hold: file names may be any bytes, and those of a name that is no UTF-8 are written as "\xFF".
std::string jsonText(const platform::Platform& host, const std::string& text) {
  if (host.json->write(Value(text), false)) return text;
  return escapeBytes(text, [](unsigned char byte) { return byte >= 0x80; });
}

/// The formats of the sides in use, where there are any.
Value describe(const Format& input, const Format& output) {
  Value result = Value::dictionary();
  if (input) result.set("input", jsonASBD(input->description()));
  if (output) result.set("output", jsonASBD(output->description()));
  return result;
}

Value describe(const platform::Platform& host, const platform::WrittenFile& file) {
  const PXX4CCStringNoQuote type(static_cast<std::int32_t>(file.type));
  return Value::dictionary({{"path", jsonText(host, file.path)}, {"type", type.c_str()}, {"frames", file.frames}});
}

Value describe(const platform::Platform& host, const UnitRun& run, const RunResult& result) {
  const platform::DeviceReport& report = *host.deviceReport;
  const platform::RunCount count = report.runCount();
  Value object = Value::dictionary({{"command", run.command}, {"host", report.hostName()}, {"ended", result.ended}});
  if (!result.error.empty()) object.set("error", jsonText(host, result.error));
  const double rate = deviceRate(report, run);
  object.set("seconds", rate > 0 ? static_cast<double>(count.frames) / rate : 0.0);
  object.set("frames", count.frames);
  object.set("discontinuities", count.discontinuities);
  object.set("overruns", count.overruns);
  object.set("hardware", describe(run.input ? Format(report.hardwareInput()) : Format(),
                                  run.output ? Format(report.hardwareOutput()) : Format()));
  object.set("client", describe(result.clientInput, result.clientOutput));
  if (run.input && run.output) object.set("latencyFrames", result.latency.input + result.latency.output);
  for (const auto& file : host.fileReport->writtenFiles()) object.set("file", describe(host, file));
  return object;
}

void printJson(const platform::Platform& host, const UnitRun& run, const RunResult& result) {
  const Value object = describe(host, run, result);
  if (!run.classPrints) return OVPrintJSON(object, false);
  if (const auto text = host.json->write(object, false)) sayLine(*text);
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

void reportRun(const Invocation& invocation, const UnitRun& run, const RunResult& result) {
  const platform::DeviceReport& report = *invocation.host.deviceReport;
  const platform::RunCount count = report.runCount();
  // The bars redraw one line of the terminal; what comes next begins on a line of its own.
  if (run.classPrints && count.frames > 0 && isWatched()) sayLine("");
  if (count.discontinuities > 0) {
    say("frames are missing in " + std::to_string(count.discontinuities) +
        (count.discontinuities == 1 ? " place" : " places") + ": the device was interrupted");
  }
  if (!invocation.json) {
    for (const auto& file : invocation.host.fileReport->writtenFiles()) sayWhatWasWritten(file, result.clientInput);
  }
  if (!result.error.empty()) say(result.error);
  if (invocation.json) printJson(invocation.host, run, result);
}

}  // namespace orvane::tool
