// SPDX-License-Identifier: MIT
#include "platform/host/midi/MidiInventory.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

namespace orvane::host {

using platform::MidiObjectKind;
using platform::MidiObjectRef;
using platform::Status;
using platform::Value;
namespace property_name = platform::midi_property;
namespace status = platform::status;

namespace {

constexpr int externalFlag = 0x10;

MidiObjectKind withoutFlag(MidiObjectKind kind) {
  return kind == MidiObjectKind::other ? kind : static_cast<MidiObjectKind>(static_cast<int>(kind) & ~externalFlag);
}

platform::SharedText shared(const std::optional<std::string>& text) {
  return text ? std::make_shared<const std::string>(*text) : nullptr;
}

MidiObjectRef nth(const std::vector<MidiObjectRef>& list, std::uint32_t index) {
  return index < list.size() ? list[index] : MidiObjectRef::none;
}

}  // namespace

void MidiInventory::update(std::vector<backend::MidiObject> objects) {
  const std::lock_guard lock(mMutex);
  for (backend::MidiObject& object : objects) store(std::move(object));
  makeLists();
}

void MidiInventory::store(backend::MidiObject object) {
  const auto [place, isNew] = mIndex.try_emplace(static_cast<std::uint32_t>(object.ref), mEntries.size());
  if (isNew) {
    mEntries.emplace_back();
    if (const auto parent = mIndex.find(static_cast<std::uint32_t>(object.parent)); parent != mIndex.end()) {
      mEntries[parent->second].children.push_back(object.ref);
    }
  }
  Entry& entry = mEntries[place->second];
  entry.name = shared(object.name);
  entry.displayName = shared(object.displayName);
  entry.object = std::move(object);
}

void MidiInventory::makeLists() {
  for (auto& list : mLists) list.clear();
  for (const Entry& entry : mEntries) {
    if (!isPresent(entry)) continue;
    const auto add = [&](List list) { mLists[static_cast<int>(list)].push_back(entry.object.ref); };
    if (entry.object.kind == Kind::device) add(List::devices);
    if (entry.object.kind == Kind::externalDevice) add(List::externalDevices);
    if (entry.object.kind == Kind::source) add(List::sources);
    if (entry.object.kind == Kind::destination) add(List::destinations);
  }
}

const MidiInventory::Entry* MidiInventory::entry(Ref object) const {
  const auto place = mIndex.find(static_cast<std::uint32_t>(object));
  return place == mIndex.end() ? nullptr : &mEntries[place->second];
}

bool MidiInventory::isPresent(const Entry& entry) const {
  for (const Entry* each = &entry; each != nullptr; each = this->entry(each->object.parent)) {
    if (!each->object.isPresent) return false;
  }
  return true;
}

std::uint32_t MidiInventory::count(List list) const {
  const std::lock_guard lock(mMutex);
  return static_cast<std::uint32_t>(mLists[static_cast<int>(list)].size());
}

MidiObjectRef MidiInventory::at(List list, std::uint32_t index) const {
  const std::lock_guard lock(mMutex);
  return nth(mLists[static_cast<int>(list)], index);
}

std::vector<MidiObjectRef> MidiInventory::childrenOf(Ref parent, Kind kind) const {
  std::vector<Ref> children;
  const Entry* const found = entry(parent);
  if (found == nullptr) return children;
  std::ranges::copy_if(found->children, std::back_inserter(children), [&](Ref child) {
    const Entry& each = *entry(child);
    return each.object.isPresent && withoutFlag(each.object.kind) == kind;
  });
  return children;
}

std::uint32_t MidiInventory::count(Ref parent, Kind kind) const {
  const std::lock_guard lock(mMutex);
  return static_cast<std::uint32_t>(childrenOf(parent, kind).size());
}

MidiObjectRef MidiInventory::at(Ref parent, Kind kind, std::uint32_t index) const {
  const std::lock_guard lock(mMutex);
  return nth(childrenOf(parent, kind), index);
}

bool MidiInventory::isListed(Ref endpoint, List list) const {
  const std::lock_guard lock(mMutex);
  return std::ranges::find(mLists[static_cast<int>(list)], endpoint) != mLists[static_cast<int>(list)].end();
}

// ---- properties

const Value* MidiInventory::inDictionary(const Entry& entry, std::string_view property) {
  return entry.object.properties.find(property);
}

Status MidiInventory::integer(Ref object, std::string_view property, std::int32_t& value) const {
  const std::lock_guard lock(mMutex);
  const Entry* const found = entry(object);
  if (found == nullptr) return status::badParameter;
  std::optional<std::int32_t> own;
  if (property == property_name::uniqueIdentifier) {
    own = found->object.uniqueIdentifier;
  } else if (property == property_name::driverVersion) {
    own = found->object.driverVersion;
  } else if (property == property_name::offline) {
    own = found->object.offline;
  } else if (const Value* const entry = inDictionary(*found, property)) {
    if (const auto* const integer = entry->as<std::int64_t>()) own = static_cast<std::int32_t>(*integer);
  }
  if (!own) return status::notFound;
  value = *own;
  return status::success;
}

Status MidiInventory::text(Ref object, std::string_view property, platform::SharedText& value) const {
  const std::lock_guard lock(mMutex);
  const Entry* const found = entry(object);
  if (found == nullptr) return status::badParameter;
  platform::SharedText text;
  if (property == property_name::name) {
    text = found->name;
  } else if (property == property_name::displayName) {
    text = found->displayName;
  } else if (const Value* const entry = inDictionary(*found, property)) {
    if (const auto* const own = entry->as<std::string>()) text = std::make_shared<const std::string>(*own);
  }
  if (!text) return status::notFound;
  value = std::move(text);
  return status::success;
}

Status MidiInventory::data(Ref object, std::string_view property, Value::Data& value) const {
  const std::lock_guard lock(mMutex);
  const Entry* const found = entry(object);
  if (found == nullptr) return status::badParameter;
  const Value::Data* own = nullptr;
  if (property == property_name::connections) {
    own = found->object.connections ? &*found->object.connections : nullptr;
  } else if (const Value* const entry = inDictionary(*found, property)) {
    own = entry->as<Value::Data>();
  }
  if (own == nullptr) return status::notFound;
  value = *own;
  return status::success;
}

Status MidiInventory::properties(Ref object, Value& dictionary) const {
  const std::lock_guard lock(mMutex);
  const Entry* const found = entry(object);
  if (found == nullptr) return status::badParameter;
  if (found->object.properties.isNull()) return status::notFound;
  dictionary = found->object.properties;
  return status::success;
}

Status MidiInventory::find(std::int32_t uniqueIdentifier, Ref& object, Kind& kind) const {
  const std::lock_guard lock(mMutex);
  const auto found = std::ranges::find_if(
      mEntries, [&](const Entry& each) { return each.object.uniqueIdentifier == uniqueIdentifier; });
  if (found == mEntries.end()) return status::notFound;
  object = found->object.ref;
  kind = found->object.kind;
  return status::success;
}

}  // namespace orvane::host
