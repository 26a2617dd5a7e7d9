// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/Clock.h"
#include "platform/Scheduler.h"
#include "platform/host/CallGate.h"
#include "platform/simulated/scenario/Scenario.h"

namespace orvane::simulated {

/// The list of a scenario's faults, which determines which of them are in force. The answer depends only on the host
/// clock and on the time of the device's first start. Thread-safe; real-time safe, except for the constructor.
class FaultPlan {
 public:
  /// Creates a plan. `faults` must be sorted by time.
  FaultPlan(std::vector<Fault> faults, std::shared_ptr<platform::Scheduler> scheduler);

  const std::vector<Fault>& faults() const { return mFaults; }

  /// Records a start of the device. The times of faults are relative to the first start.
  void deviceStarts();
  /// Returns the host time at which a fault comes into force. The device must have been started before.
  platform::HostTime dueTime(const Fault& fault) const;
  /// Returns whether `fault` is in force. A fault at time 0 is in force even before the first start.
  bool isInForce(const Fault& fault) const;
  /// Returns whether any fault of this kind is in force.
  bool isInForce(Fault::Kind kind) const;

  /// Returns the refusal of a call according to the latest fault in force, or null if the call is not refused. The
  /// refusal lives as long as the plan.
  const host::Refusal* refusal(std::string_view call) const;

 private:
  const std::vector<Fault> mFaults;
  const std::vector<host::Refusal> mRefusals;  ///< One refusal for each fault, in the same order.
  std::shared_ptr<platform::Scheduler> mScheduler;
  std::atomic<platform::HostTime> mFirstStart = platform::HostTime::max();
};

}  // namespace orvane::simulated
