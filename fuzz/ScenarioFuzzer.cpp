#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/SettingsCheck.h"
#include "platform/simulated/scenario/RefusableCalls.h"
#include "platform/simulated/scenario/Scenario.h"

using namespace orvane;
using simulated::Fault;

namespace {

void checkFault(const Fault& fault) {
  fuzz::require(fault.at >= platform::HostTime::zero());
  fuzz::require((fault.kind == Fault::Kind::discontinuity) == (fault.frames > 0));
  fuzz::require(fault.frames <= Fault::mostMissingFrames);
  fuzz::require(fault.kind != Fault::Kind::renderStatus || fault.status != 0);
  const auto call = std::ranges::find(simulated::refusableCalls, fault.call, &simulated::RefusableCall::name);
  const bool isKnown = call != simulated::refusableCalls.end();
  fuzz::require((fault.kind == Fault::Kind::refuse) == isKnown);
  fuzz::require(!isKnown || !call->answersStatus || fault.status != 0);
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
