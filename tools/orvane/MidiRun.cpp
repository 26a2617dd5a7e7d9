// SPDX-License-Identifier: MIT
#include "tools/orvane/MidiRun.h"

#include <poll.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <utility>

#include "platform/Clock.h"
#include "platform/EventLoop.h"
#include "platform/FileReport.h"
#include "platform/NumberText.h"
#include "platform/RunControl.h"
#include "platform/Scheduler.h"
#include "platform/Subscription.h"
#include "platform/Value.h"
#include "platform/Waiter.h"
#include "platform/Worker.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/FailureReason.h"
#include "tools/orvane/report/LogLines.h"
#include "tools/orvane/report/StandardStreams.h"

namespace orvane::tool {

namespace {

using platform::HostTime;

/// The host clock at the creation of the host.
constexpr HostTime creation = std::chrono::seconds(1);

double secondsOf(const platform::Platform& host) {
  return std::chrono::duration<double>(host.scheduler->clock().now() - creation).count();
}

platform::Value membersOf(const platform::Platform& host, double seconds, platform::MidiCount count) {
  return platform::Value::dictionary({{"seconds", seconds},
                                      {"packets", count.packets},
                                      {"bytes", count.bytes},
                                      {"discontinuities", host.midiReport->discontinuities()},
                                      {"overruns", host.midiReport->dropped()}});
}

/// A run in progress: what ends it, and how it ended.
class Running {
 public:
  Running(const platform::Platform& host, const MidiRun& run) : mHost(host), mRun(run) {}

  /// Subscribes to everything that ends the run by itself.
  void watchEnd() {
    mEnd = mHost.midiReport->onActivityEnd([this] {
      if (isOver()) mHost.eventLoop->stop();
    });
    mWriteFailure = mHost.runControl->onWriteFailure([loop = mHost.eventLoop] { loop->stop(); });
    if (!mRun.seconds) return;
    // One tick later, so that everything that happens at this time belongs to the run.
    const auto limit = creation + HostTime(static_cast<HostTime::rep>(std::round(*mRun.seconds * 1e9))) + HostTime(1);
    mTimer = mHost.scheduler->makeWorker("limit");
    mTimer->postAt(limit, [this] {
      mIsLimitReached = true;
      mHost.eventLoop->stop();
    });
  }

  /// Waits for the end of the run. Returns the signal that ended it, or 0.
  int wait() {
    // Something that was never active has no end that could be waited for; but a signal may have come before.
    if (mRun.end == MidiRun::End::idle && isOver()) mHost.eventLoop->stop();
    if (!mRun.loop) return mHost.eventLoop->run();
    const auto onSignal = mHost.eventLoop->onSignal([this](int signal) { mSignal = signal; });
    mRun.loop();
    return mSignal;
  }

  bool isLimitReached() const { return mIsLimitReached; }

  double seconds() const {
    if (mIsLimitReached) return *mRun.seconds;
    return secondsOf(mHost);
  }

 private:
  bool isOver() const {
    const platform::MidiReport& report = *mHost.midiReport;
    if (report.failure()) return true;
    if (mRun.end == MidiRun::End::never || report.isActive()) return false;
    return mRun.end == MidiRun::End::idle || (!mRun.seconds && report.inputEnded());
  }

  const platform::Platform& mHost;
  const MidiRun& mRun;
  std::atomic<bool> mIsLimitReached = false;
  std::atomic<int> mSignal = 0;
  platform::Subscription mEnd;
  platform::Subscription mWriteFailure;
  std::unique_ptr<platform::Worker> mTimer;
};

/// Returns a failure that was not reported by an exception; the text is empty if there was none.
FailureReason failureOf(const platform::Platform& host) {
  if (const auto lost = host.midiReport->failure()) return {lost->reason, lost->status};
  return failureBehind(host);
}

Outcome outcomeOf(const platform::Platform& host, const MidiRun& run, const Running& running, int signal) {
  if (const FailureReason reason = failureOf(host); !reason.text.empty()) {
    return failed(ExitStatus::failed, reason.text, reason.status);
  }
  if (signal != 0) return {.ended = "signal"};
  if (running.isLimitReached()) return {.ended = "seconds"};
  return {.ended = run.end == MidiRun::End::inputs ? "input-ended" : "finished"};
}

/// Hands out what was printed, unless nobody reads it.
void flushIfWritable() {
  pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
  if (poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0) std::fflush(stdout);
}

Outcome perform(const Invocation& invocation, const MidiRun& run, Running& running) {
  const platform::Platform& host = invocation.host;
  try {
    run.start();
    invocation.log->showHeld();  // The run began, so failures that were logged before did not end it.
    if (!run.activity.empty() && standardErrorIsTerminal()) say(run.activity);
    running.watchEnd();
    const int signal = running.wait();
    const bool abandon = signal != 0 && run.classPrints;
    if (abandon) {
      flushIfWritable();
      abandonStandardOutput();
    }
    run.stop();
    if (abandon) std::clearerr(stdout);  // Output that was cut off is not a failure.
    return outcomeOf(host, run, running, signal);
  } catch (const std::exception& exception) {
    const FailureReason reason = reasonOf(invocation, exception.what());
    if (run.end == MidiRun::End::idle && host.midiReport->isActive()) {
      running.watchEnd();
      running.wait();
    }
    return failed(ExitStatus::failed, reason.text, reason.status);
  }
}

}  // namespace

void addMidiSeconds(CLI::App& options, std::optional<double>& seconds) {
  addNumber(options, {"--seconds", "S", 1e-6, 1e9, "seconds, from 0.000001 to 1000000000"}, seconds,
            "End after this time, including what happens at it");
}

Outcome outcomeOfEntry(const platform::Platform& host, bool isInterrupted) {
  const FailureReason reason = failureOf(host);
  Outcome outcome = !reason.text.empty() ? failed(ExitStatus::failed, reason.text, reason.status)
                                         : Outcome{.ended = isInterrupted ? "signal" : "input-ended"};
  outcome.members = membersOf(host, secondsOf(host), host.midiReport->sent());
  return outcome;
}

bool awaitDelivery(const platform::Platform& host) {
  const std::shared_ptr<platform::Waiter> change = host.scheduler->makeWaiter();
  std::atomic<bool> isInterrupted = false;
  const auto onSignal = host.eventLoop->onSignal([&isInterrupted, change](int) {
    isInterrupted = true;
    change->signal();
  });
  const auto end = host.midiReport->onActivityEnd([change] { change->signal(); });
  while (host.midiReport->isActive() && !isInterrupted) change->wait(platform::Waiter::forever);
  return !isInterrupted;
}

Outcome runMidi(const Invocation& invocation, const MidiRun& run) {
  const platform::Platform& host = invocation.host;
  // In real time every line appears at once, also in a pipe. In simulated time nobody waits for a single line.
  constexpr std::size_t blockBytes = 65536;
  if (run.classPrints) std::setvbuf(stdout, nullptr, host.scheduler->isSimulated() ? _IOFBF : _IOLBF, blockBytes);
  Running running(host, run);
  const auto why = host.midiReport->whyUnavailable();
  Outcome outcome = why ? unavailable(*why) : perform(invocation, run, running);
  const platform::MidiCount count = run.count != nullptr ? (*host.midiReport.*run.count)() : platform::MidiCount{};
  outcome.members = membersOf(host, why ? 0.0 : running.seconds(), count);
  return outcome;
}

}  // namespace orvane::tool
