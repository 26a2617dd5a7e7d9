#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/Scheduler.h"
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
  bool isInForce(Fault::Kind kind) const { return !mFaults.empty() && latest(kind) != nullptr; }

  /// What render operations return: success where no fault says otherwise.
  platform::Status renderStatus() const;
  /// The status with which a call is refused; nothing where it is not.
  std::optional<platform::Status> refusal(std::string_view call) const;

 private:
  const Fault* latest(Fault::Kind kind, std::string_view call = {}) const;

  const std::vector<Fault> mFaults;
  std::shared_ptr<platform::Scheduler> mScheduler;
  std::atomic<platform::HostTime> mFirstStart = platform::HostTime::max();
};

}  // namespace orvane::simulated
