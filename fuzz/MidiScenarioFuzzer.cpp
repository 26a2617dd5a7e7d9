// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/SettingsCheck.h"
#include "platform/host/midi/MidiInventory.h"
#include "platform/simulated/midi/MidiScenario.h"

namespace orvane {

namespace {

using platform::MidiObjectRef;

void checkSettings(const simulated::MidiSettings& settings) {
  std::uint32_t number = 0;
  for (const backend::MidiObject& object : settings.objects) {
    fuzz::require(object.ref == static_cast<MidiObjectRef>(++number) && object.parent < object.ref);
  }
  fuzz::require(number <= simulated::MidiSettings::maxObjects);
  fuzz::require(std::ranges::is_sorted(settings.events, {}, &simulated::MidiEventSetting::at));
  for (const auto& event : settings.events) {
    fuzz::require(static_cast<std::uint32_t>(event.object) <= number && event.at >= platform::HostTime::zero());
  }
  host::MidiInventory inventory;
  inventory.update(settings.objects);
  using List = host::MidiInventory::List;
  for (const List list : {List::devices, List::externalDevices, List::sources, List::destinations}) {
    for (std::uint32_t i = 0; i < inventory.count(list); ++i) {
      fuzz::require(static_cast<std::uint32_t>(inventory.at(list, i)) <= number);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    checkSettings(simulated::parseMidiInventory(text, "midi=a.json", "folder"));
  } catch (const platform::PlatformException& refusal) {
    fuzz::require(refusal.reason().starts_with("midi=a.json: "));
  }
  return 0;
}

}  // namespace orvane
