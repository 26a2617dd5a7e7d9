// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/SettingsCheck.h"
#include "platform/host/CallGate.h"
#include "platform/simulated/scenario/Scenario.h"

namespace orvane {

using simulated::Fault;

namespace {

void checkFault(const Fault& fault) {
  fuzz::require(fault.at >= platform::HostTime::zero());
  fuzz::require((fault.kind == Fault::Kind::discontinuity) == (fault.frames > 0));
  fuzz::require(fault.frames <= Fault::maxMissingFrames);
  fuzz::require((fault.kind == Fault::Kind::refuse) == !fault.call.empty());
  if (fault.call.empty()) return;
  const auto& calls = host::GatedCall::all();
  const auto call = std::ranges::find(calls, fault.call, &host::GatedCall::name);
  // Hidden calls are not listed: scenarios have other keys than `call` to refuse them.
  const bool needsStatus = call == calls.end() || (*call)->answersStatus();
  fuzz::require(call != calls.end() || fault.call == "UnitWrapper::renderOperation" ||
                fault.call.starts_with("PlatformSession::"));
  fuzz::require(!needsStatus || fault.status != 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::string_view file = "folder/scenario.json";
  try {
    const auto scenario = simulated::parseScenario({reinterpret_cast<const char*>(data), size}, file);
    fuzz::checkSettings(scenario.device);
    fuzz::require(std::ranges::is_sorted(scenario.faults, {}, &Fault::at));
    std::ranges::for_each(scenario.faults, checkFault);
  } catch (const platform::PlatformException& refusal) {
    fuzz::require(refusal.reason().starts_with("scenario=folder/scenario.json: "));
  }
  return 0;
}

}  // namespace orvane
