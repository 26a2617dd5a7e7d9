// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Clock.h"
#include "platform/Scheduler.h"
#include "platform/Waiter.h"
#include "platform/Worker.h"

namespace orvane::host {

class Conductor;

/// The scheduler for simulated time ("fast pace"): runs as fast as the processor allows, and deterministically.
///
/// All workers share one thread (see `Conductor`) with one agenda of tasks, ordered by due time and then by order of
/// posting. The clock starts at one second and jumps to the due time of each task when the task is run. Tasks run only
/// while a caller is waiting. After the signal that ends the wait, only the task that signalled runs to its end before
/// the caller returns. The clock does not advance while the caller works, so with one caller thread every run is the
/// same, whatever the load of the machine.
class FastPace final : public platform::Scheduler {
 public:
  FastPace();
  /// Ends the conductor thread. Workers, triggers and waiters may outlive the scheduler, but their tasks no longer run.
  ~FastPace() override;

  const platform::Clock& clock() const override;
  bool isSimulated() const override { return true; }
  std::unique_ptr<platform::Worker> makeWorker(const std::string& name, Priority priority) override;
  std::unique_ptr<platform::Waiter> makeWaiter() override;

 private:
  const std::shared_ptr<Conductor> mConductor;
};

}  // namespace orvane::host
