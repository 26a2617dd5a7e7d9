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

/// Which faults of a scenario are in force. It follows from the host clock alone, so whoever asks at one time gets one
/// answer, and nothing has to be told when a fault's time comes. Any thread; real-time safe.
class FaultPlan {
 public:
  /// `faults` are ordered by time.
  FaultPlan(std::vector<Fault> faults, std::shared_ptr<platform::Scheduler> scheduler);

  const std::vector<Fault>& faults() const { return mFaults; }

  /// The device starts; faults count from the first time.
  void deviceStarts();
  /// When a fault comes into force, once the device has started.
  platform::HostTime dueTime(const Fault& fault) const;
  bool isInForce(const Fault& fault) const;
  bool isInForce(Fault::Kind kind) const;

  /// The refusal of a call, the latest of those in force; null where it is not refused. Lives as long as the plan.
  const host::Refusal* refusal(std::string_view call) const;

 private:
  const std::vector<Fault> mFaults;
  const std::vector<host::Refusal> mRefusals;  ///< One for each fault.
  std::shared_ptr<platform::Scheduler> mScheduler;
  std::atomic<platform::HostTime> mFirstStart = platform::HostTime::max();
};

}  // namespace orvane::simulated
