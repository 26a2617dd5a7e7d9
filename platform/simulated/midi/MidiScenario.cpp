// SPDX-License-Identifier: MIT
#include "platform/simulated/midi/MidiScenario.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <utility>

#include "platform/simulated/scenario/Refuse.h"
#include "platform/simulated/scenario/ScenarioFile.h"

namespace orvane::simulated {

using backend::MidiObject;
using platform::MidiNotification;
using platform::MidiObjectKind;
using platform::MidiObjectRef;
using platform::Value;
namespace fs = std::filesystem;

namespace {

constexpr std::string_view dataPrefix = "data:";
constexpr std::string_view textPrefix = "text:";
constexpr std::string_view dataForm = "\"data:\" and pairs of hexadecimal digits";

std::int32_t readInteger(const ScenarioNode& node) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(node.wholeNumber(Limits::min(), Limits::max()));
}

// ---- values of properties

Value::Data readData(const ScenarioNode& node) {
  const std::string_view digits = std::string_view(node.text()).substr(dataPrefix.size());
  Value::Data data;
  for (std::size_t at = 0; at + 2 <= digits.size(); at += 2) {
    std::uint8_t byte = 0;
    const char* const end = digits.data() + at + 2;
    const auto [parsedTo, error] = std::from_chars(digits.data() + at, end, byte, 16);
    if (error != std::errc() || parsedTo != end) break;
    data.push_back(byte);
  }
  if (2 * data.size() != digits.size()) node.need(std::string(dataForm));
  return data;
}

/// Returns a value, with the texts that stand for data replaced. Values are nested at most `Value::maxLevels` deep.
Value readValue(const ScenarioNode& node) {
  const Value& value = node.value();
  if (const auto* const text = value.as<std::string>()) {
    if (text->starts_with(dataPrefix)) return readData(node);
    const std::string_view rest =
        text->starts_with(textPrefix) ? std::string_view(*text).substr(textPrefix.size()) : "";
    return rest.starts_with(dataPrefix) || rest.starts_with(textPrefix) ? Value(rest) : value;
  }
  if (value.as<Value::Array>() != nullptr) {
    Value::Array array;
    for (const ScenarioNode& item : node.items()) array.push_back(readValue(item));
    return array;
  }
  if (value.as<Value::Dictionary>() != nullptr) {
    Value::Dictionary dictionary;
    for (const ScenarioNode& member : node.members()) dictionary.push_back({member.key(), readValue(member)});
    return dictionary;
  }
  return value;
}

Value::Data readConnections(const ScenarioNode& node) {
  if (const auto* const text = node.value().as<std::string>(); text != nullptr && text->starts_with(dataPrefix)) {
    return readData(node);
  }
  if (node.value().as<Value::Array>() == nullptr)
    node.need("a list of unique identifiers, or " + std::string(dataForm));
  Value::Data data;
  for (const ScenarioNode& item : node.items()) {
    const auto identifier = static_cast<std::uint32_t>(readInteger(item));
    for (const int shift : {24, 16, 8, 0}) data.push_back(static_cast<std::uint8_t>(identifier >> shift));
  }
  return data;
}

// ---- the inventory

/// The settings read so far, and the object that is being read. An index is used because the list of objects grows
/// while an object's children are read.
struct Reader {
  MidiSettings& settings;
  const fs::path& folder;
  std::size_t index = 0;
  bool isExternal = false;

  MidiObject& object() const { return settings.objects[index]; }
};

using Key = ScenarioKey<Reader>;
using ReadObject = void (*)(const ScenarioNode&, Reader&);

MidiObjectKind withFlag(MidiObjectKind kind, bool isExternal) {
  return static_cast<MidiObjectKind>(static_cast<int>(kind) | (isExternal ? 0x10 : 0));
}

template <std::size_t count>
void readObject(const ScenarioNode& node, Reader reader, MidiObjectKind kind, const std::array<Key, count>& keys) {
  auto& objects = reader.settings.objects;
  if (objects.size() == MidiSettings::maxObjects) {
    node.refuse("an inventory has " + std::to_string(MidiSettings::maxObjects) + " objects at most");
  }
  const bool isDevice = kind == MidiObjectKind::device;
  const MidiObjectRef parent = isDevice ? MidiObjectRef::none : reader.object().ref;
  reader.index = objects.size();
  objects.push_back({.ref = static_cast<MidiObjectRef>(objects.size() + 1),
                     .parent = parent,
                     .kind = withFlag(kind, reader.isExternal)});
  readMembers(node, keys, reader);
}

constexpr Key nameKey{"name", [](auto& reader, auto& node) { reader.object().name = node.text(); }};
constexpr Key uniqueKey{"uniqueID",
                        [](auto& reader, auto& node) { reader.object().uniqueIdentifier = readInteger(node); }};
constexpr Key versionKey{"driverVersion",
                         [](auto& reader, auto& node) { reader.object().driverVersion = readInteger(node); }};
constexpr Key offlineKey{"offline", [](auto& reader, auto& node) { reader.object().offline = readInteger(node); }};
constexpr Key presentKey{"present", [](auto& reader, auto& node) { reader.object().isPresent = node.flag(); }};
constexpr Key connectionsKey{"connections",
                             [](auto& reader, auto& node) { reader.object().connections = readConnections(node); }};
constexpr Key propertiesKey{"properties", [](auto& reader, auto& node) {
                              node.members();  // refuses anything but an object
                              reader.object().properties = readValue(node);
                            }};
constexpr Key displayNameKey{"displayName",
                             [](auto& reader, auto& node) { reader.object().displayName = node.text(); }};

/// Returns a path, resolved against `folder`.
Given<std::string> readPath(const ScenarioNode& node, const fs::path& folder, const char* wanted) {
  if (node.text().empty()) node.need(wanted);
  if (node.text().find('\0') != std::string::npos) node.refuse("a path has no zero byte");
  return {(folder / node.text()).string(), node.where()};
}

void readPlays(Reader& reader, const ScenarioNode& node) {
  reader.settings.played.push_back(
      {reader.object().ref, readPath(node, reader.folder, "the path of a standard MIDI file")});
}

constexpr std::array<Key, 8> destinationKeys{nameKey,    uniqueKey,      versionKey,    offlineKey,
                                             presentKey, connectionsKey, propertiesKey, displayNameKey};
constexpr std::array<Key, 9> sourceKeys{nameKey,        uniqueKey,     versionKey,     offlineKey,          presentKey,
                                        connectionsKey, propertiesKey, displayNameKey, {"plays", readPlays}};

constexpr std::array<Key, 9> entityKeys{nameKey,
                                        uniqueKey,
                                        versionKey,
                                        offlineKey,
                                        presentKey,
                                        connectionsKey,
                                        propertiesKey,
                                        {"sources",
                                         [](auto& reader, auto& node) {
                                           for (const auto& item : node.items())
                                             readObject(item, reader, MidiObjectKind::source, sourceKeys);
                                         }},
                                        {"destinations", [](auto& reader, auto& node) {
                                           for (const auto& item : node.items())
                                             readObject(item, reader, MidiObjectKind::destination, destinationKeys);
                                         }}};

constexpr std::array<Key, 8> deviceKeys{nameKey,
                                        uniqueKey,
                                        versionKey,
                                        offlineKey,
                                        presentKey,
                                        connectionsKey,
                                        propertiesKey,
                                        {"entities", [](auto& reader, auto& node) {
                                           for (const auto& item : node.items())
                                             readObject(item, reader, MidiObjectKind::entity, entityKeys);
                                         }}};

void readDevices(Reader& reader, const ScenarioNode& node, bool isExternal) {
  Reader own = reader;
  own.isExternal = isExternal;
  for (const ScenarioNode& item : node.items()) readObject(item, own, MidiObjectKind::device, deviceKeys);
}

// ---- events

/// A kind of event as written in a scenario: its name, and the keys that it has in addition to `at` and `notify`.
struct EventForm {
  std::string_view name;
  std::int32_t kind;
  std::array<std::string_view, 3> ownKeys = {};
};

constexpr std::array<EventForm, 4> eventForms{{
    {"setup", MidiNotification::setupChanged},
    {"added", MidiNotification::objectAdded, {"parent", "child"}},
    {"removed", MidiNotification::objectRemoved, {"parent", "child"}},
    {"property", MidiNotification::propertyChanged, {"object", "property", "value"}},
}};

EventForm formOf(const ScenarioNode& notify) {
  if (const auto* const name = notify.value().as<std::string>()) {
    const auto form = std::ranges::find(eventForms, *name, &EventForm::name);
    if (form != eventForms.end()) return *form;
  } else if (notify.value().as<std::int64_t>() != nullptr) {
    const std::int32_t kind = readInteger(notify);
    if (kind < MidiNotification::setupChanged || kind > MidiNotification::propertyChanged) return {"", kind};
    notify.refuse("the numbers 1 to 4 have names: setup, added, removed and property");
  }
  notify.need("\"setup\", \"added\", \"removed\", \"property\" or a number");
}

MidiObjectRef findObject(const MidiSettings& settings, const ScenarioNode& node) {
  const std::int32_t identifier = readInteger(node);
  const auto found = std::ranges::find(settings.objects, std::optional(identifier), &MidiObject::uniqueIdentifier);
  if (found == settings.objects.end()) node.refuse("no object has the unique identifier " + std::to_string(identifier));
  return found->ref;
}

/// Returns the new value of a property. One that the service itself reads must be of the kind that it reads.
platform::Value readNewValue(const std::string& property, const ScenarioNode& node) {
  namespace names = platform::midi_property;
  if (property == names::driverVersion || property == names::offline) return readInteger(node);
  platform::Value value = readValue(node);
  const bool isName = property == names::name || property == names::displayName;
  if (isName && value.as<std::string>() == nullptr) node.need("a text that is not data");
  return value;
}

MidiEventSetting readEvent(const MidiSettings& settings, const ScenarioNode& node) {
  const EventForm form = formOf(node.member("notify", "it is setup, added, removed, property or a number"));
  std::vector<std::string_view> known{"at", "notify"};
  std::ranges::copy_if(form.ownKeys, std::back_inserter(known), [](auto key) { return !key.empty(); });
  MidiEventSetting event{.kind = form.kind};
  event.at = readScenarioTime(node.member("at", "seconds after the creation of the host"));
  const ScenarioNode* value = nullptr;
  const std::vector<ScenarioNode> members = node.members();
  for (const ScenarioNode& member : members) {
    if (std::ranges::find(known, member.key()) == known.end()) refuseKey(member, known);
    if (member.key() == "parent") event.parent = findObject(settings, member);
    if (member.key() == "value") value = &member;
  }
  if (form.kind == MidiNotification::objectAdded || form.kind == MidiNotification::objectRemoved) {
    event.object = findObject(settings, node.member("child", "the unique identifier of the object"));
  } else if (form.kind == MidiNotification::propertyChanged) {
    event.object = findObject(settings, node.member("object", "the unique identifier of the object"));
    event.property = node.member("property", "the name of the property").text();
    if (value != nullptr) event.value = readNewValue(event.property, *value);
  }
  return event;
}

void readEvents(MidiSettings& settings, const ScenarioNode& node) {
  const std::vector<ScenarioNode> items = node.items();
  if (items.size() > MidiSettings::maxEvents) {
    node.refuse("a scenario has " + std::to_string(MidiSettings::maxEvents) + " events at most");
  }
  for (const ScenarioNode& item : items) settings.events.push_back(readEvent(settings, item));
  std::ranges::stable_sort(settings.events, {}, &MidiEventSetting::at);
}

constexpr std::array<Key, 4> midiKeys{{
    {"devices", [](auto& reader, auto& node) { readDevices(reader, node, false); }},
    {"externalDevices", [](auto& reader, auto& node) { readDevices(reader, node, true); }},
    {"events", [](auto&, auto&) {}},  // read after all devices, which events name
    {"capture",
     [](auto& reader, auto& node) {
       reader.settings.capture = readPath(node, reader.folder, "the path of a file to write");
     }},
}};

}  // namespace

MidiSettings readMidiSettings(const ScenarioNode& node, const fs::path& folder) {
  MidiSettings settings;
  Reader reader{settings, folder};
  readMembers(node, midiKeys, reader);
  for (const ScenarioNode& member : node.members()) {
    if (member.key() == "events") readEvents(settings, member);
  }
  return settings;
}

MidiSettings parseMidiInventory(std::string_view text, const std::string& where, const fs::path& folder) {
  const Value value = parseScenarioText(text, where);
  return readMidiSettings(ScenarioNode(value, where), folder);
}

MidiSettings readMidiInventory(const Given<std::string>& path, std::shared_ptr<const host::ReadClaim>& claim) {
  const std::string text = readScenarioFile(path.value, path.where, "the inventory", claim);
  return parseMidiInventory(text, path.where, fs::path(path.value).parent_path());
}

}  // namespace orvane::simulated
