// SPDX-License-Identifier: MIT
#include "platform/pipewire/MidiCatalogue.h"

#include <algorithm>
#include <tuple>
#include <unordered_set>
#include <utility>

namespace orvane::pipewire {

using backend::MidiChange;
using backend::MidiObject;
using platform::MidiNotification;
using platform::MidiObjectKind;
using platform::MidiObjectRef;
using platform::Value;
namespace names = platform::midi_property;

namespace {

std::string keyOf(MidiObjectKind kind, const std::string& name) {
  return std::to_string(static_cast<int>(kind)) + " " + name;
}

/// Makes an object, except for its handles.
MidiObject makeObject(MidiObjectKind kind, const std::string& name, const std::string& displayName,
                      const Inventory::Properties& properties) {
  MidiObject object{.kind = kind, .uniqueIdentifier = uniqueIdentifier(kind, name), .offline = 0, .name = name};
  object.properties = Value::dictionary({{names::name, name}});
  if (!displayName.empty()) {
    object.displayName = displayName;
    object.properties.set(names::displayName, displayName);
  }
  object.properties.set(names::uniqueIdentifier, *object.uniqueIdentifier).set(names::offline, 0);
  for (const auto& [key, value] : properties) object.properties.set(key, value);
  return object;
}

std::string lookUp(const Inventory::Properties& properties, const char* key) {
  const auto found = properties.find(key);
  return found == properties.end() ? std::string() : found->second;
}

void setOffline(MidiObject& object, bool isOffline) {
  object.isPresent = !isOffline;
  object.offline = isOffline ? 1 : 0;
  object.properties.set(names::offline, *object.offline);
}

/// The change that reports the arrival or the removal of an object.
MidiChange presenceChange(const MidiObject& object, MidiObjectKind parentKind) {
  return {.objects = {object},
          .notification = {.kind = object.isPresent ? MidiNotification::objectAdded : MidiNotification::objectRemoved,
                           .size = sizeof(MidiNotification),
                           .parent = object.parent,
                           .parentKind = object.parent == MidiObjectRef::none ? MidiObjectKind::other : parentKind,
                           .child = object.ref,
                           .childKind = object.kind}};
}

MidiChange propertyChange(const MidiObject& object, const std::string& property) {
  return {.objects = {object},
          .notification = {.kind = MidiNotification::propertyChanged,
                           .size = sizeof(MidiNotification),
                           .object = object.ref,
                           .objectKind = object.kind,
                           .propertyName = property}};
}

MidiObjectKind parentKindOf(MidiObjectKind kind) {
  return kind == MidiObjectKind::entity ? MidiObjectKind::device : MidiObjectKind::entity;
}

/// Returns the keys of the members that differ between two dictionaries.
std::vector<std::string> changedKeys(const Value& before, const Value& after) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : *after.as<Value::Dictionary>()) {
    const Value* const old = before.find(key);
    if (old == nullptr || !(*old == value)) keys.push_back(key);
  }
  for (const auto& [key, value] : *before.as<Value::Dictionary>()) {
    if (after.find(key) == nullptr) keys.push_back(key);
  }
  return keys;
}

/// A MIDI port with its node.
struct Found {
  std::uint32_t identifier = 0;
  const Inventory::Port* port = nullptr;
  const Inventory::Node* node = nullptr;
};

/// Returns the ports of other processes whose properties are known, the oldest node first.
std::vector<Found> midiPorts(const Inventory& inventory) {
  std::vector<Found> found;
  for (const auto& [identifier, port] : inventory.ports) {
    const auto node = inventory.nodes.find(port.node);
    if (!port.isMidi || port.properties.empty() || node == inventory.nodes.end()) continue;
    if (node->second.properties.empty() || node->second.client == inventory.ownClient) continue;
    found.push_back({identifier, &port, &node->second});
  }
  std::ranges::sort(found, {}, [](const Found& each) {
    return std::tuple(each.node->serial, each.port->node, each.port->isOutput, each.port->index);
  });
  return found;
}

}  // namespace

std::int32_t uniqueIdentifier(MidiObjectKind kind, std::string_view name) {
  // FNV-1a.
  std::uint32_t hash = 2166136261U;
  const auto mix = [&hash](std::uint8_t byte) { hash = (hash ^ byte) * 16777619U; };
  mix(static_cast<std::uint8_t>(kind));
  for (const char character : name) mix(static_cast<std::uint8_t>(character));
  return static_cast<std::int32_t>(hash == 0 ? 1 : hash);
}

MidiObjectRef MidiCatalogue::handleOf(const std::string& key) {
  const auto [place, isNew] = mHandles.try_emplace(key);
  if (isNew) place->second = newHandle();
  return place->second;
}

/// Returns the objects that the server has now, parents before their children.
std::vector<MidiCatalogue::Entry> MidiCatalogue::wanted(const Inventory& inventory) {
  std::vector<Entry> entries;
  std::unordered_set<MidiObjectRef> known;
  const auto take = [&](MidiObject object, MidiObjectRef parent, std::uint32_t port) {
    object.ref = handleOf(keyOf(object.kind, *object.name));
    object.parent = parent;
    const MidiObjectRef ref = object.ref;
    if (known.insert(ref).second) entries.push_back({std::move(object), port});
    return ref;
  };
  for (const Found& found : midiPorts(inventory)) {
    const Inventory::Node& node = *found.node;
    const MidiObjectRef device = take(makeObject(MidiObjectKind::device, node.name, {}, node.properties), {}, 0);
    const MidiObjectRef entity = take(makeObject(MidiObjectKind::entity, node.name, {}, {}), device, 0);
    const MidiObjectKind kind = found.port->isOutput ? MidiObjectKind::source : MidiObjectKind::destination;
    const std::string alias = lookUp(found.port->properties, "port.alias");
    take(makeObject(kind, node.name + ":" + found.port->name, alias, found.port->properties), entity, found.identifier);
  }
  return entries;
}

std::vector<MidiChange> MidiCatalogue::update(const Inventory& inventory) {
  std::vector<MidiChange> changes;
  std::vector<Entry> present = wanted(inventory);
  remove(present, changes);
  for (Entry& entry : present) add(std::move(entry), changes);
  return changes;
}

void MidiCatalogue::remove(const std::vector<Entry>& present, std::vector<MidiChange>& changes) {
  std::unordered_set<MidiObjectRef> refs;
  for (const Entry& entry : present) refs.insert(entry.object.ref);
  for (auto entry = mEntries.rbegin(); entry != mEntries.rend(); ++entry) {
    if (!entry->object.isPresent || refs.contains(entry->object.ref)) continue;
    setOffline(entry->object, true);
    changes.push_back(presenceChange(entry->object, parentKindOf(entry->object.kind)));
  }
}

void MidiCatalogue::add(Entry entry, std::vector<MidiChange>& changes) {
  Entry* const known = find(entry.object.ref);
  if (known == nullptr || !known->object.isPresent) {
    changes.push_back(presenceChange(entry.object, parentKindOf(entry.object.kind)));
  } else if (known->port == entry.port) {
    for (const std::string& key : changedKeys(known->object.properties, entry.object.properties)) {
      changes.push_back(propertyChange(entry.object, key));
    }
  } else {
    // Another port of the same name takes its place.
    changes.push_back({.objects = {entry.object}});
  }
  if (known != nullptr) {
    *known = std::move(entry);
  } else {
    mPlaces[entry.object.ref] = mEntries.size();
    mEntries.push_back(std::move(entry));
  }
}

const MidiCatalogue::Entry* MidiCatalogue::find(MidiObjectRef object) const {
  const auto found = mPlaces.find(object);
  return found == mPlaces.end() ? nullptr : &mEntries[found->second];
}

MidiCatalogue::Entry* MidiCatalogue::find(MidiObjectRef object) {
  return const_cast<Entry*>(std::as_const(*this).find(object));
}

std::optional<std::uint32_t> MidiCatalogue::portOf(MidiObjectRef endpoint) const {
  const Entry* const entry = find(endpoint);
  return entry == nullptr || !entry->object.isPresent ? std::nullopt : std::optional(entry->port);
}

std::string MidiCatalogue::nameOf(MidiObjectRef endpoint) const {
  const Entry* const entry = find(endpoint);
  return entry == nullptr ? std::string() : entry->object.name.value_or("");
}

}  // namespace orvane::pipewire
