// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// A receiver of the signals that ask the process to stop. Called on the thread that reads signals, one at a time.
class SignalReceiver {
 public:
  virtual ~SignalReceiver() = default;
  /// `signal` is SIGINT, SIGTERM, SIGHUP, or SIGPIPE for a standard output whose reader has gone.
  virtual void signalled(int signal) = 0;
};

/// Reads SIGINT, SIGTERM and SIGHUP, and notices a closed standard output: once a process, whatever the number of
/// hosts.
///
/// The first signal is passed to every receiver. Whoever passes a signal on to a process may send it to its group too,
/// so what follows within 0.3 seconds is a copy. A later one ends the process, unless `expectFirst` came in between.
/// Any thread; not real-time safe.
class ProcessSignals {
 public:
  /// Adds a receiver. The first call blocks the signals in the calling thread and starts the thread that reads them;
  /// throws `std::system_error` where there is no thread left. SIGHUP stays ignored where it is.
  static void add(SignalReceiver& receiver);
  /// Takes a receiver out and waits for a call of it that is under way.
  static void remove(SignalReceiver& receiver);
  /// Says that the stop that was asked for has been made: the next signal counts as a first one again.
  static void expectFirst();
};

}  // namespace orvane::host
