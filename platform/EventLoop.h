// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "platform/Export.h"

namespace orvane::platform {

/// The calling thread's event loop: runs the tasks that other threads post to it, and waits in between. How a program
/// that has nothing of its own to do waits for its end.
class ORVANE_EXPORT EventLoop {
 public:
  virtual ~EventLoop() = default;

  /// Turns SIGINT, SIGTERM and SIGHUP (unless it is ignored, as under nohup), and writing to a standard output whose
  /// reader has gone, into a stop of the loop. A closed standard error changes nothing. Call it before any other thread
  /// exists: it blocks the signals, and threads inherit that. Signals are read once a process and reach the loop of
  /// every host that watches them. A second call does nothing.
  ///
  /// A further signal more than 0.3 seconds after the one that a loop was stopped by, while no loop was run again, ends
  /// the process immediately, as such a signal does by default: nothing is completed, but a run that cannot stop can
  /// always be ended.
  virtual void watchSignals() = 0;

  /// Runs posted tasks, in order, on the calling thread until `stop`; tasks that were posted before the stop still run,
  /// later ones stay for the next run. A signal ends the run without the tasks that wait. Returns the number of the
  /// signal (SIGPIPE for a closed standard output), 0 for a plain stop. One thread at a time.
  virtual int run() = 0;
  /// Runs `task` on the thread that is in `run`, or that comes to it next. Any thread, workers included; not real-time
  /// safe. An exception that leaves the task leaves `run`.
  virtual void post(std::function<void()> task) = 0;
  /// Ends the run, or the next one if none is going on. A run clears it: any number of stops ends one run. Any thread,
  /// workers included.
  virtual void stop() = 0;
};

}  // namespace orvane::platform
