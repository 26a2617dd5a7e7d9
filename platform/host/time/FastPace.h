// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Scheduler.h"

namespace orvane::host {

class Conductor;

/// The scheduler of a run at fast pace: as fast as the processor allows, and the same at every run.
///
/// All workers share one conductor thread with one agenda, ordered by due time and then by order of posting. The clock,
/// which begins at one second, jumps to the due time of each task that the conductor takes. Tasks run only while a
/// caller is inside a wait; between the signal that ends a wait and the caller's return nothing runs but the rest of
/// the task that signalled. So time stands still while the caller works, and with one caller thread every run takes the
/// same course whatever the load on the machine.
class FastPace final : public platform::Scheduler {
 public:
  FastPace();
  /// Ends the conductor. Workers, triggers and waiters may outlive it; nothing runs any more.
  ~FastPace() override;

  const platform::Clock& clock() const override;
  std::unique_ptr<platform::Worker> makeWorker(const std::string& name, Priority priority) override;
  std::unique_ptr<platform::Waiter> makeWaiter() override;

 private:
  const std::shared_ptr<Conductor> mConductor;
};

}  // namespace orvane::host
