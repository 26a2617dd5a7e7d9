// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Scheduler.h"

namespace orvane::host {

class Conductor;

/// The scheduler at fast pace: as fast as the processor allows, and deterministic.
///
/// All workers share one conductor thread with one agenda, ordered by due time and then by order of posting. The clock
/// starts at one second and jumps to the due time of each task that the conductor takes. Tasks run only while a caller
/// is waiting; between the signal that ends a wait and the caller's return, only the task that signalled continues to
/// its end. Time stands still while the caller works, so with one caller thread every run is the same, whatever the
/// machine's load.
class FastPace final : public platform::Scheduler {
 public:
  FastPace();
  /// Ends the conductor. Workers, triggers and waiters may outlive it, but their tasks no longer run.
  ~FastPace() override;

  const platform::Clock& clock() const override;
  std::unique_ptr<platform::Worker> makeWorker(const std::string& name, Priority priority) override;
  std::unique_ptr<platform::Waiter> makeWaiter() override;

 private:
  const std::shared_ptr<Conductor> mConductor;
};

}  // namespace orvane::host
