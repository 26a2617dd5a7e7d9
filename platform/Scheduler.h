// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Clock.h"
#include "platform/Export.h"
#include "platform/Waiter.h"
#include "platform/Worker.h"

namespace orvane::platform {

/// The service for threads and waiting: creates workers and waiters that share one clock. The library starts threads
/// and waits only through the scheduler. Thread-safe. Not real-time safe, except for the clock that `clock()` returns.
///
/// In real time ("real pace") each worker is a thread. In simulated time ("fast pace"), which passes faster than real
/// time, all workers share one thread, and the clock jumps to the due time of the next task; tasks run only while a
/// caller waits.
class ORVANE_EXPORT Scheduler {
 public:
  /// The scheduling of a worker's thread in real time; ignored in simulated time.
  enum class Priority {
    ordinary,
    realTime,  ///< Requests real-time scheduling from the system; a refusal is logged once and is not an error.
  };

  virtual ~Scheduler() = default;

  /// Returns the host clock, which lives as long as the scheduler.
  virtual const Clock& clock() const = 0;
  /// Returns whether the clock shows simulated time.
  virtual bool isSimulated() const = 0;
  /// Creates a worker. In real time the first fifteen bytes of `name` name its thread, as shown by debuggers. The
  /// scheduler must outlive the worker. In real time, throws `std::system_error` if no thread can be started.
  virtual std::unique_ptr<Worker> makeWorker(const std::string& name, Priority priority = Priority::ordinary) = 0;
  /// Creates a waiter with a count of 0 signals.
  virtual std::unique_ptr<Waiter> makeWaiter() = 0;
};

}  // namespace orvane::platform
