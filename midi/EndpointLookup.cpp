// SPDX-License-Identifier: MIT
#include "midi/EndpointLookup.h"

#include <cstdint>

#include "platform/Status.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace orvane {

using platform::MidiObjectRef;
using platform::MidiService;

namespace {

/// The endpoints of one direction: how to count them and get them, and how they are called in messages.
struct Direction {
  std::uint32_t (MidiService::*count)() const;
  MidiObjectRef (MidiService::*at)(std::uint32_t index) const;
  const char* word;
};

constexpr Direction sources{&MidiService::numberOfSources, &MidiService::source, "source"};
constexpr Direction destinations{&MidiService::numberOfDestinations, &MidiService::destination, "destination"};

MidiService& serviceOf(const platform::Platform& services) {
  return requiredRole(services, services.midi, "MidiService");
}

MidiObjectRef withName(const platform::Platform& services, const Direction& direction, const MidiName& name) {
  const MidiService& service = serviceOf(services);
  const auto count = static_cast<std::int32_t>((service.*direction.count)());
  for (std::int32_t index = 0; name && index < count; ++index) {
    const MidiObjectRef endpoint = (service.*direction.at)(static_cast<std::uint32_t>(index));
    platform::SharedText text;
    const platform::Status status = service.stringProperty(endpoint, platform::midi_property::name, text);
    if (status == platform::status::success && text && *text == *name) return endpoint;
  }
  raiseOn(services, std::string("No MIDI ") + direction.word + " named '" + name.value_or("(null)") + "'");
}

MidiObjectRef first(const platform::Platform& services, const Direction& direction) {
  const MidiService& service = serviceOf(services);
  if ((service.*direction.count)() != 0) return (service.*direction.at)(0);
  raiseOn(services, std::string("No MIDI ") + direction.word + "s present");
}

}  // namespace

MidiObjectRef sourceWithName(const platform::Platform& services, const MidiName& name) {
  return withName(services, sources, name);
}

MidiObjectRef destinationWithName(const platform::Platform& services, const MidiName& name) {
  return withName(services, destinations, name);
}

MidiObjectRef defaultSource(const platform::Platform& services) {
  return first(services, sources);
}

MidiObjectRef defaultDestination(const platform::Platform& services) {
  return first(services, destinations);
}

}  // namespace orvane
