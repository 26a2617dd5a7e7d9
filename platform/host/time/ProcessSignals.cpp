// SPDX-License-Identifier: MIT
#include "platform/host/time/ProcessSignals.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <mutex>
#include <optional>
#include <system_error>
#include <vector>

#include "platform/host/time/HostThread.h"

namespace orvane::host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds copyTime(300);

struct State {
  std::mutex mutex;
  std::vector<SignalReceiver*> receivers;
  std::optional<Clock::time_point> asked;  ///< Arrival time of the last signal that was passed to receivers.
  bool isAnswered = false;                 ///< The stop requested by that signal has been completed.
  bool isReading = false;
};

/// Returns the process's state, which is never destroyed because the thread that reads signals never ends.
State& state() {
  static State& instance = *new State();
  return instance;
}

std::atomic<bool> outputClosed = false;

/// Handles SIGPIPE. It is called on the thread that wrote, which may be the device's, so it only notifies the thread
/// that reads signals. A closed standard error is ignored, and the run continues without messages.
void onClosedPipe(int) {
  const int savedErrno = errno;
  pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
  const bool isOutput = poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
  if (isOutput && !outputClosed.exchange(true)) kill(getpid(), SIGTERM);
  errno = savedErrno;
}

sigset_t stopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  struct sigaction hangUp {};
  sigaction(SIGHUP, nullptr, &hangUp);
  if (hangUp.sa_handler != SIG_IGN) sigaddset(&signals, SIGHUP);
  return signals;
}

/// Ends the process with the signal's default action.
void endProcess(int signal) {
  std::signal(signal, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  raise(signal);
}

void passOn(int signal, bool isFromProcess) {
  State& shared = state();
  const std::lock_guard lock(shared.mutex);
  if (!isFromProcess) {
    const Clock::time_point now = Clock::now();
    if (shared.asked && now - *shared.asked <= copyTime) return;
    if (shared.asked && !shared.isAnswered) endProcess(signal);
    shared.asked = now;
    shared.isAnswered = false;
  }
  for (SignalReceiver* receiver : shared.receivers) receiver->signalled(signal);
}

void readSignals(const sigset_t& signals) {
  for (;;) {
    siginfo_t information;
    const int signal = sigwaitinfo(&signals, &information);
    if (signal == -1) continue;
    // The signal handler above reports the closed output. A signal that also ended the pipe's reader may have come
    // first.
    const bool isFromProcess = information.si_pid == getpid();
    passOn(isFromProcess && outputClosed ? SIGPIPE : signal, isFromProcess);
  }
}

void startReading() {
  const sigset_t signals = stopSignals();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &signals, &before);
  try {
    startThread("signals", [signals] { readSignals(signals); }).detach();
  } catch (const std::system_error&) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
  struct sigaction action {};
  action.sa_handler = onClosedPipe;
  action.sa_flags = SA_RESTART;
  sigaction(SIGPIPE, &action, nullptr);
  // Exceeding the process's file size limit must result in a failed write, not in the end of the process.
  signal(SIGXFSZ, SIG_IGN);
}

}  // namespace

void ProcessSignals::add(SignalReceiver& receiver) {
  State& shared = state();
  const std::lock_guard lock(shared.mutex);
  if (!shared.isReading) {
    startReading();
    shared.isReading = true;
  }
  shared.receivers.push_back(&receiver);
}

void ProcessSignals::remove(SignalReceiver& receiver) {
  State& shared = state();
  const std::lock_guard lock(shared.mutex);
  std::erase(shared.receivers, &receiver);
}

void ProcessSignals::expectFirst() {
  State& shared = state();
  const std::lock_guard lock(shared.mutex);
  shared.isAnswered = true;
}

}  // namespace orvane::host
