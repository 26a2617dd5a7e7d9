// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/Scheduler.h"
#include "platform/host/CallGate.h"
#include "platform/simulated/scenario/Scenario.h"

namespace orvane::simulated {

/// Tells which faults of a scenario are in force, from the host clock and the time of the device's first start alone.
/// Thread-safe; real-time safe.
class FaultPlan {
 public:
  /// `faults` must be sorted by time.
  FaultPlan(std::vector<Fault> faults, std::shared_ptr<platform::Scheduler> scheduler);

  const std::vector<Fault>& faults() const { return mFaults; }

  /// Records a start of the device; the times of faults count from the first one.
  void deviceStarts();
  /// Returns the time when a fault comes into force. The device must have been started.
  platform::HostTime dueTime(const Fault& fault) const;
  /// Whether this fault, or any of a kind, is in force. Faults at 0 are in force before the first start as well.
  bool isInForce(const Fault& fault) const;
  bool isInForce(Fault::Kind kind) const;

  /// Returns the refusal of a call, by the latest fault in force; null if it is not refused. Lives as long as the plan.
  const host::Refusal* refusal(std::string_view call) const;

 private:
  const std::vector<Fault> mFaults;
  const std::vector<host::Refusal> mRefusals;  ///< One for each fault.
  std::shared_ptr<platform::Scheduler> mScheduler;
  std::atomic<platform::HostTime> mFirstStart = platform::HostTime::max();
};

}  // namespace orvane::simulated
