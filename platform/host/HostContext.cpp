// SPDX-License-Identifier: MIT
#include "platform/host/HostContext.h"

#include <string>
#include <utility>

#include "platform/host/HostLog.h"
#include "platform/host/time/FastPace.h"
#include "platform/host/time/RealPace.h"

namespace orvane::host {

namespace {

std::shared_ptr<platform::Scheduler> makeScheduler(HostContext::Pace pace, const std::shared_ptr<platform::Log>& log) {
  if (pace == HostContext::Pace::fast) return std::make_shared<FastPace>();
  return std::make_shared<RealPace>(log);
}

}  // namespace

HostContext::HostContext(Pace pace)
    : log(std::make_shared<HostLog>()),
      scheduler(makeScheduler(pace, log)),
      gate(std::make_shared<CallGate>()),
      mRefusals(std::make_shared<RefusalRecord>()),
      mNotices(*scheduler),
      runEnd(mNotices),
      writeFailures(mNotices),
      sessions(std::make_shared<HostSessions>(gate, mRefusals)) {}

platform::Status HostContext::refuse(platform::Failure failure) {
  const platform::Status status = failure.status;
  const std::string line = failure.call + " failed: " + failure.reason;
  mRefusals->record(std::move(failure));
  log->write(platform::LogLevel::error, line);
  return status;
}

std::optional<platform::Status> HostContext::refusalOf(const GatedCall& call) {
  const Refusal* refusal = gate->refusal(call);
  if (refusal == nullptr) return std::nullopt;
  return refuse({refusal->status, refusal->reason, std::string(call.name())});
}

platform::PlatformError HostContext::refuseWithError(platform::Failure failure) {
  platform::PlatformError error(failure);
  refuse(std::move(failure));
  return error;
}

std::optional<platform::PlatformError> HostContext::errorOf(const GatedCall& call) {
  const Refusal* refusal = gate->refusal(call);
  if (refusal == nullptr) return std::nullopt;
  return refuseWithError({refusal->status, refusal->reason, std::string(call.name())});
}

}  // namespace orvane::host
