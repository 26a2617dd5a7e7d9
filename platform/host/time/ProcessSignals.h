// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// Interface of objects that are notified of signals that request the process to stop. Calls are made one at a time, on
/// the thread that reads signals.
class SignalReceiver {
 public:
  virtual ~SignalReceiver() = default;
  /// Handles a signal: SIGINT, SIGTERM, SIGHUP, or SIGPIPE if the reader of standard output is gone.
  virtual void signalled(int signal) = 0;
};

/// The process's only reader of SIGINT, SIGTERM and SIGHUP, shared by all hosts. Also detects that the reader of
/// standard output is gone.
///
/// The first signal is passed to every receiver. Further signals within 0.3 seconds are ignored, because programs that
/// forward a signal may send it both to the process and to its group. A later signal ends the process with the signal's
/// default action, unless `expectFirst` was called in between. Thread-safe; not real-time safe.
class ProcessSignals {
 public:
  /// Adds a receiver. The first call blocks the signals in the calling thread and starts the thread that reads them;
  /// throws `std::system_error` if no thread can be started. An ignored SIGHUP stays ignored.
  static void add(SignalReceiver& receiver);
  /// Removes a receiver and waits for a call of `signalled` in progress.
  static void remove(SignalReceiver& receiver);
  /// Records that the requested stop has been completed, so that the next signal is treated as a first one.
  static void expectFirst();
};

}  // namespace orvane::host
