#include "tools/orvane/UnitRun.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <limits>
#include <string>

#include "platform/EventLoop.h"
#include "platform/Json.h"
#include "platform/Report.h"
#include "session/OVJSON.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/StandardStreams.h"

namespace orvane::tool {

namespace {

using platform::Value;

/// How a run ended, in the words of the JSON object.
struct Outcome {
  std::string ended;
  std::string error{};  ///< Empty unless `ended` is "failed".
  Value client = Value::dictionary();
};

Outcome failure(const std::string& reason) {
  return {.ended = "failed", .error = reason};
}

const char* key(Side side) {
  return side == Side::input ? "input" : "output";
}

platform::StreamFormat hardwareFormat(const platform::Report& report, Side side) {
  return side == Side::input ? report.hardwareInput() : report.hardwareOutput();
}

/// The frames of device time that make `seconds`: the product is meant in decimal, so a binary fraction's error in the
/// last place must not add a frame, and with it a slice.
std::uint64_t framesIn(double seconds, double rate) {
  const double frames = seconds * rate;
  const double nearest = std::round(frames);
  const double error = frames * 4 * std::numeric_limits<double>::epsilon();
  return static_cast<std::uint64_t>(std::abs(frames - nearest) <= error ? nearest : std::ceil(frames));
}

void limitRun(platform::Report& report, const UnitRun& run) {
  const double rate = hardwareFormat(report, run.side).sampleRate();
  // Hardware that reports no rate cannot be started, so there is nothing to limit.
  if (run.seconds && rate > 0) report.endAfterFrames(framesIn(*run.seconds, rate));
}

/// Why a run that nothing was raised in ended.
Outcome outcome(const platform::Report& report, int signal) {
  if (const auto device = report.deviceFailure()) return failure(device->reason);
  if (const auto write = report.writeFailure()) return failure(write->reason);
  if (signal != 0) return {.ended = "signal"};
  return {.ended = report.deviceEnd() == platform::DeviceEnd::inputEnded ? "input-ended" : "seconds"};
}

Outcome perform(const platform::Platform& host, const UnitRun& run, const UnitOptions& options, OVIOUnit& unit) {
  try {
    options.applyTo(unit);
    limitRun(*host.report, run);
    host.report->onDeviceEnd([loop = host.eventLoop] { loop->stop(); });
    unit.start();
    const int signal = host.eventLoop->run();
    const bool abandon = signal != 0 && run.classPrints;
    if (abandon) abandonStandardOutput();
    unit.stop();
    if (abandon) std::clearerr(stdout);  // What was cut off is no failure.
    Outcome result = outcome(*host.report, signal);
    const auto client = run.side == Side::input ? unit.inputClientFormat() : unit.outputClientFormat();
    result.client.set(key(run.side), jsonASBD(client.description()));
    return result;
  } catch (const std::exception& refusal) {
    return failure(refusal.what());
  }
}

Value describe(const platform::Report& report, const UnitRun& run, const Outcome& outcome) {
  const platform::StreamFormat hardware = hardwareFormat(report, run.side);
  const platform::RunCount count = report.runCount();
  Value result = Value::dictionary({{"command", run.command}, {"host", report.hostName()}, {"ended", outcome.ended}});
  if (!outcome.error.empty()) result.set("error", outcome.error);
  const double rate = hardware.sampleRate();
  result.set("seconds", rate > 0 ? static_cast<double>(count.frames) / rate : 0.0);
  result.set("frames", count.frames);
  result.set("discontinuities", count.discontinuities);
  result.set("hardware", Value::dictionary({{key(run.side), jsonASBD(hardware.description())}}));
  result.set("client", outcome.client);
  return result;
}

void printJson(const platform::Platform& host, const UnitRun& run, const Outcome& outcome) {
  const Value result = describe(*host.report, run, outcome);
  if (!run.classPrints) return OVPrintJSON(result, false);
  if (const auto text = host.json->write(result, false)) sayLine(*text);
}

}  // namespace

void addSeconds(CLI::App& options, std::optional<double>& seconds) {
  // The upper bound, some thirty years, keeps frame counts exact.
  addNumber(options, "--seconds", seconds, {1e-6, 1e9, "seconds, from 0.000001 to 1000000000"},
            "End after this much device time, rounded up to whole slices")
      ->type_name("S");
}

void requireHardware(const platform::Report& report, Side side) {
  if (hardwareFormat(report, side).channelCount() > 0) return;
  throw ToolError(ExitStatus::unavailable, "the " + report.hostName() + " host has no audio " + key(side));
}

ExitStatus runUnit(const Invocation& invocation, const UnitRun& run, const UnitOptions& options, OVIOUnit& unit) {
  const platform::Platform& host = invocation.host;
  const Outcome outcome = perform(host, run, options, unit);
  const platform::RunCount count = host.report->runCount();
  // The bars redraw one line of the terminal; what comes next begins on a line of its own.
  if (run.classPrints && count.frames > 0 && isWatched()) sayLine("");
  if (count.discontinuities > 0) {
    say("frames are missing in " + std::to_string(count.discontinuities) + " places: the device was interrupted");
  }
  if (!outcome.error.empty()) say(outcome.error);
  if (invocation.json) printJson(host, run, outcome);
  return outcome.error.empty() ? ExitStatus::done : ExitStatus::failed;
}

}  // namespace orvane::tool
