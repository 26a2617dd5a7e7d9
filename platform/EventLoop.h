#pragma once

#include "platform/Export.h"

namespace orvane::platform {

/// The calling thread's event loop: where a program that has nothing of its own to do waits for its end.
class ORVANE_EXPORT EventLoop {
 public:
  virtual ~EventLoop() = default;

  /// Turns SIGINT and SIGTERM, and writing to a closed pipe, into a stop of the loop. Called before any other
  /// thread exists: it blocks the signals, and threads inherit that. A second call does nothing. A second SIGINT or
  /// SIGTERM, where it comes more than 0.3 seconds after the first, ends the process at once, as such a signal does by
  /// default: nothing is completed, but a run that cannot stop can always be ended.
  virtual void watchSignals() = 0;
  /// Returns when `stop` was called, before or during the run. The result is the number of the signal that ended it, or
  /// 0 for a plain stop.
  virtual int run() = 0;
  /// Ends the run, or the next one where none goes on. Any thread, workers included.
  virtual void stop() = 0;
};

}  // namespace orvane::platform
