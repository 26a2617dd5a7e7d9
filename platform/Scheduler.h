// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Clock.h"
#include "platform/Export.h"
#include "platform/Waiter.h"
#include "platform/Worker.h"

namespace orvane::platform {

/// Makes the workers and waiters that go with one clock. Nothing in the library starts a thread or sleeps by itself.
class ORVANE_EXPORT Scheduler {
 public:
  enum class Priority {
    ordinary,
    realTime,  ///< Asks the system for real-time scheduling; a refusal is logged once and is no error.
  };

  virtual ~Scheduler() = default;

  virtual const Clock& clock() const = 0;
  /// `name` is shown by debuggers; fifteen characters of it at most. The scheduler outlives the worker.
  virtual std::unique_ptr<Worker> makeWorker(const std::string& name, Priority priority = Priority::ordinary) = 0;
  virtual std::unique_ptr<Waiter> makeWaiter() = 0;
};

}  // namespace orvane::platform
