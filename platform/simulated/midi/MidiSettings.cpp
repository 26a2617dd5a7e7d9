// SPDX-License-Identifier: MIT
#include "platform/simulated/midi/MidiSettings.h"

#include <algorithm>
#include <utility>

#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

using backend::MidiObject;
using platform::MidiObjectKind;
using platform::MidiObjectRef;
using platform::Value;

namespace {

/// Adds an object of the default inventory. Its unique identifier is its handle.
MidiObjectRef add(MidiSettings& settings, MidiObjectRef parent, MidiObjectKind kind, const char* name) {
  const auto identifier = static_cast<std::int32_t>(settings.objects.size() + 1);
  MidiObject object{.ref = static_cast<MidiObjectRef>(identifier),
                    .parent = parent,
                    .kind = kind,
                    .uniqueIdentifier = identifier,
                    .offline = 0,
                    .name = name};
  object.properties = Value::dictionary({{"name", name}, {"uniqueID", identifier}, {"offline", 0}});
  if (kind == MidiObjectKind::device) {
    object.driverVersion = 1;
    object.properties.set("driverVersion", 1);
  }
  if (kind == MidiObjectKind::source || kind == MidiObjectKind::destination) {
    object.displayName = name;
    object.properties.set("displayName", name);
  }
  settings.objects.push_back(std::move(object));
  return settings.objects.back().ref;
}

void addDevice(MidiSettings& settings, const char* device, const char* source, const char* destination) {
  const MidiObjectRef parent = add(settings, MidiObjectRef::none, MidiObjectKind::device, device);
  const MidiObjectRef entity = add(settings, parent, MidiObjectKind::entity, "Port 1");
  add(settings, entity, MidiObjectKind::source, source);
  add(settings, entity, MidiObjectKind::destination, destination);
}

bool isListed(const MidiSettings& settings, const MidiObject& object) {
  if (!object.isPresent) return false;
  if (object.parent == MidiObjectRef::none) return true;
  return isListed(settings, settings.objects[static_cast<std::size_t>(object.parent) - 1]);
}

}  // namespace

MidiSettings defaultMidiSettings() {
  MidiSettings settings;
  addDevice(settings, "Simulated Keyboard", "Keyboard", "Synth");
  addDevice(settings, "Loopback", "Loopback", "Loopback");
  return settings;
}

void playFirstSource(MidiSettings& settings, const Given<std::string>& path) {
  const auto source = std::ranges::find_if(settings.objects, [&](const MidiObject& object) {
    return object.kind == MidiObjectKind::source && isListed(settings, object);
  });
  if (source == settings.objects.end()) refuse(path.where, "the inventory has no source that could play the file");
  std::erase_if(settings.played, [&](const PlayedSource& each) { return each.source == source->ref; });
  settings.played.push_back({source->ref, path});
}

void loadPlayedFiles(MidiSettings& settings) {
  for (PlayedSource& each : settings.played) {
    if (each.content) continue;
    auto content = host::readMidiFile(each.path.value);
    if (!content) refuse(each.path.where, content.failure().reason);
    each.content = *content;
  }
}

}  // namespace orvane::simulated
