// SPDX-License-Identifier: MIT
#include "tools/orvane/AudioRun.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <limits>
#include <string>
#include <utility>

#include "platform/DeviceReport.h"
#include "platform/EventLoop.h"
#include "platform/FileReport.h"
#include "platform/NumberText.h"
#include "platform/RunControl.h"
#include "platform/StreamFormat.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/FailureReason.h"
#include "tools/orvane/report/LogLines.h"
#include "tools/orvane/report/RunReport.h"
#include "tools/orvane/report/StandardStreams.h"

namespace orvane::tool {

namespace {

const char* key(Side side) {
  return side == Side::input ? "input" : "output";
}

platform::StreamFormat hardwareFormat(const platform::DeviceReport& report, Side side) {
  return side == Side::input ? report.hardwareInput() : report.hardwareOutput();
}

/// Returns the outcome of the command if the run needs a side (input or output) that the hardware does not have;
/// otherwise `std::nullopt`.
std::optional<Outcome> lackingSide(const platform::DeviceReport& report, const AudioRun& run) {
  for (const Side side : {Side::input, Side::output}) {
    const bool isNeeded = side == Side::input ? run.input : run.output;
    if (isNeeded && hardwareFormat(report, side).channelCount() == 0) {
      const auto why = report.whyUnavailable();
      if (why) return unavailable(*why);
      return failed(ExitStatus::unavailable, "the " + report.hostName() + " host has no audio " + key(side));
    }
  }
  return std::nullopt;
}

/// Returns the number of frames in `seconds`, rounded up. Rounding errors of the product must not add a frame, so a
/// product that is within a few units in the last place of an integer counts as that integer.
std::uint64_t framesIn(double seconds, double rate) {
  const double frames = seconds * rate;
  const double nearest = std::round(frames);
  const double error = frames * 4 * std::numeric_limits<double>::epsilon();
  return static_cast<std::uint64_t>(std::abs(frames - nearest) <= error ? nearest : std::ceil(frames));
}

/// Returns the hardware's sample rate in hertz, which converts between frames and device time. Both sides of the
/// hardware have the same rate.
double deviceRate(const platform::DeviceReport& report, const AudioRun& run) {
  return hardwareFormat(report, run.input ? Side::input : Side::output).sampleRate();
}

void limitRun(const platform::Platform& host, const AudioRun& run) {
  const double rate = deviceRate(*host.deviceReport, run);
  constexpr std::uint64_t noLimit = std::uint64_t{1} << 52;
  if (!run.seconds && run.outlastsInput) host.runControl->endAfterFrames(noLimit);
  // Hardware that reports no rate cannot be started, so no limit is needed.
  if (run.seconds && rate > 0) host.runControl->endAfterFrames(framesIn(*run.seconds, rate));
}

/// Returns the outcome of a run whose subject failed. `host` may have another failure, or the one behind it.
Outcome outcomeOf(const platform::Platform& host, Outcome failure) {
  const FailureReason reason = failureBehind(host);
  if (reason.text.empty()) return failure;
  const auto write = host.fileReport->writeFailure();
  if (!write || failure.error.find(write->reason) == std::string::npos) {
    return failed(ExitStatus::failed, reason.text + "; then " + failure.error, reason.status);
  }
  failure.hostStatus = reason.status;
  return failure;
}

/// Returns the outcome of a run that threw no exception. `signal` is the result of the event loop: the signal that
/// ended the run, or 0.
Outcome outcomeOf(const platform::Platform& host, int signal, bool isFinished) {
  if (const FailureReason reason = failureBehind(host); !reason.text.empty()) {
    return failed(ExitStatus::failed, reason.text, reason.status);
  }
  if (isFinished) return {.ended = "finished"};
  if (signal != 0) return {.ended = "signal"};
  return {.ended = host.deviceReport->deviceEnd() == platform::DeviceEnd::inputEnded ? "input-ended" : "seconds"};
}

/// Prints what the run does and how to end it, if standard error is a terminal and the run prints nothing else;
/// otherwise the tool would seem to hang.
void sayWhatRuns(const AudioRun& run) {
  if (run.classPrints || !standardErrorIsTerminal()) return;
  say(run.activity + "; ends " + (run.seconds ? "after " + platform::numberText(*run.seconds) + " s or " : "") +
      "with Ctrl-C");
}

Outcome complete(const Invocation& invocation, const AudioRun& run, RunSubject& subject, ClientSide& client) {
  const platform::Platform& host = invocation.host;
  try {
    subject.prepare();
    limitRun(host, run);
    const auto end = host.runControl->onDeviceEnd([loop = host.eventLoop] { loop->stop(); });
    const auto writeFailure = host.runControl->onWriteFailure([loop = host.eventLoop] { loop->stop(); });
    subject.start();
    client = subject.client();
    invocation.log->showHeld();  // The run began, so failures that were logged before did not end it.
    sayWhatRuns(run);
    const int signal = host.eventLoop->run();
    const bool isFinished = subject.isFinished();
    const bool abandon = signal != 0 && run.classPrints;
    if (abandon) abandonStandardOutput();
    subject.stop();
    if (abandon) std::clearerr(stdout);  // Output that was cut off is not a failure.

    auto failure = subject.failure();
    subject.release();  // Completes the files, so that the report includes their failures.
    return failure ? outcomeOf(host, *std::move(failure)) : outcomeOf(host, signal, isFinished);
  } catch (const std::exception& exception) {
    const FailureReason reason = reasonOf(invocation, exception.what());
    subject.release();
    return refused(host, reason);
  }
}

}  // namespace

Outcome perform(const Invocation& invocation, const AudioRun& run, RunSubject& subject) {
  const platform::Platform& host = invocation.host;
  const OutputTerminal terminal;
  ClientSide client;
  auto lacking = lackingSide(*host.deviceReport, run);
  Outcome outcome = lacking ? *std::move(lacking) : complete(invocation, run, subject, client);
  // The meter's bars redraw one line of the terminal, so this line must be ended before the next message.
  if (run.classPrints && host.deviceReport->runCount().frames > 0) terminal.endLine();
  sayWhatRan(host, client, invocation.json);
  if (!run.recording.empty() && outcome.error.empty() && host.fileReport->writtenFiles().empty()) {
    say("nothing was recorded; " + run.recording + " is as it was before");
  }
  outcome.members = describeRun(host, run, client);
  return outcome;
}

}  // namespace orvane::tool
