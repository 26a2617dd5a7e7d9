// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// Receives the signals that request the process to stop, one at a time, on the thread that reads signals.
class SignalReceiver {
 public:
  virtual ~SignalReceiver() = default;
  /// `signal` is SIGINT, SIGTERM, SIGHUP, or SIGPIPE for a standard output whose reader is gone.
  virtual void signalled(int signal) = 0;
};

/// Reads SIGINT, SIGTERM and SIGHUP and detects a closed standard output, once a process for all hosts.
///
/// The first signal is passed to every receiver. Signals within 0.3 seconds after it are ignored, because programs that
/// forward a signal may send it to the process and to its group. A later one ends the process with the signal's default
/// action, unless `expectFirst` was called in between. Thread-safe; not real-time safe.
class ProcessSignals {
 public:
  /// Adds a receiver. The first call blocks the signals in the calling thread and starts the thread that reads them;
  /// throws `std::system_error` if no thread can be started. An ignored SIGHUP stays ignored.
  static void add(SignalReceiver& receiver);
  /// Removes a receiver and waits for a call of it in progress.
  static void remove(SignalReceiver& receiver);
  /// Marks the requested stop as done: the next signal is a first one again.
  static void expectFirst();
};

}  // namespace orvane::host
