#include "platform/simulated/scenario/FaultPlan.h"

#include <algorithm>
#include <utility>

namespace orvane::simulated {

using platform::HostTime;

FaultPlan::FaultPlan(std::vector<Fault> faults, std::shared_ptr<platform::Scheduler> scheduler)
    : mFaults(std::move(faults)), mScheduler(std::move(scheduler)) {}

void FaultPlan::deviceStarts() {
  HostTime never = HostTime::max();
  mFirstStart.compare_exchange_strong(never, mScheduler->clock().now());
}

HostTime FaultPlan::dueTime(const Fault& fault) const {
  return mFirstStart.load() + fault.at;
}

bool FaultPlan::isInForce(const Fault& fault) const {
  if (fault.at == HostTime::zero()) return true;
  return mFirstStart.load() != HostTime::max() && mScheduler->clock().now() >= dueTime(fault);
}

const Fault* FaultPlan::latest(Fault::Kind kind, std::string_view call) const {
  const auto found = std::find_if(mFaults.rbegin(), mFaults.rend(), [&](const Fault& fault) {
    return fault.kind == kind && fault.call == call && isInForce(fault);
  });
  return found == mFaults.rend() ? nullptr : &*found;
}

platform::Status FaultPlan::renderStatus() const {
  const Fault* fault = latest(Fault::Kind::renderStatus);
  return fault == nullptr ? platform::status::success : fault->status;
}

std::optional<platform::Status> FaultPlan::refusal(std::string_view call) const {
  const Fault* fault = latest(Fault::Kind::refuse, call);
  if (fault == nullptr) return std::nullopt;
  return fault->status;
}

}  // namespace orvane::simulated
