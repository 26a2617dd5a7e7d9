// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "platform/Export.h"
#include "platform/Subscription.h"

namespace orvane::platform {

/// An event loop: runs posted tasks on the thread that calls `run`, and waits between them. Programs use it to wait for
/// the end of an audio run.
///
/// Not real-time safe.
class ORVANE_EXPORT EventLoop {
 public:
  virtual ~EventLoop() = default;

  /// Makes the following stop the loop: SIGINT, SIGTERM, SIGHUP (unless the process ignores it, as under nohup), and a
  /// write to a standard output whose reader is gone. Also ignores SIGXFSZ and failed writes to a closed standard
  /// error.
  ///
  /// Must be called before the program starts a thread: it blocks the signals in the calling thread, and new threads
  /// inherit this mask. One thread in the process reads the signals and stops the loop of every host that watches them.
  /// A second call does nothing. Throws `std::system_error` if that thread cannot be started.
  ///
  /// If another signal arrives more than 0.3 seconds after the first and no loop has been run since, the process ends
  /// immediately with the signal's default action and completes no files. This ends a run that cannot stop.
  virtual void watchSignals() = 0;

  /// Runs posted tasks in order on the calling thread until `stop`. Tasks posted before the stop still run; later ones
  /// wait for the next run. A signal ends the run at once; tasks that have not run stay queued for the next run.
  ///
  /// Returns 0 after `stop`, otherwise the signal's number (SIGPIPE for a closed standard output). An exception thrown
  /// by a task propagates out of `run`. Only one thread at a time may call `run`. Calling it from a worker's task
  /// or the device callback ends the process with a message, because `run` waits.
  virtual int run() = 0;
  /// Subscribes `notice`, which is called with the number of each signal that `watchSignals` watches, on the thread
  /// that reads signals. For programs whose main thread does not run the loop while it waits. `notice` must not be
  /// empty, wait or throw; it may end the process. Thread-safe.
  virtual Subscription onSignal(std::function<void(int signal)> notice) = 0;
  /// Queues `task`, which must not be empty, for execution by the current or next call of `run`. Thread-safe.
  virtual void post(std::function<void()> task) = 0;
  /// Ends the current call of `run`, or the next one if none is in progress. Several calls of `stop` end one run only.
  /// Thread-safe.
  virtual void stop() = 0;
};

}  // namespace orvane::platform
