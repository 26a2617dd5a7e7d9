// SPDX-License-Identifier: MIT
#include "platform/simulated/scenario/FaultPlan.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace orvane::simulated {

using platform::HostTime;

namespace {

std::vector<host::Refusal> refusalsOf(const std::vector<Fault>& faults) {
  std::vector<host::Refusal> refusals;
  refusals.reserve(faults.size());
  for (const Fault& fault : faults) refusals.push_back({fault.status, fault.reason});
  return refusals;
}

}  // namespace

FaultPlan::FaultPlan(std::vector<Fault> faults, std::shared_ptr<platform::Scheduler> scheduler)
    : mFaults(std::move(faults)), mRefusals(refusalsOf(mFaults)), mScheduler(std::move(scheduler)) {}

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

bool FaultPlan::isInForce(Fault::Kind kind) const {
  return std::ranges::any_of(mFaults, [&](const Fault& fault) { return fault.kind == kind && isInForce(fault); });
}

const host::Refusal* FaultPlan::refusal(std::string_view call) const {
  for (std::size_t index = mFaults.size(); index-- > 0;) {
    const Fault& fault = mFaults[index];
    if (fault.kind == Fault::Kind::refuse && fault.call == call && isInForce(fault)) return &mRefusals[index];
  }
  return nullptr;
}

}  // namespace orvane::simulated
