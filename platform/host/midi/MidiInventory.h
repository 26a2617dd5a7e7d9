// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/MidiService.h"
#include "platform/Status.h"
#include "platform/Value.h"
#include "platform/backend/MidiTransport.h"

namespace orvane::host {

/// The objects of a MIDI transport: lists of those that are present, and the properties of all of them. Thread-safe;
/// not real-time safe.
class MidiInventory {
 public:
  using Ref = platform::MidiObjectRef;
  using Kind = platform::MidiObjectKind;
  /// The lists that do not belong to a parent.
  enum class List { devices, externalDevices, sources, destinations };

  /// Stores new states of objects; unknown ones are added at the end.
  void update(std::vector<backend::MidiObject> objects);

  std::uint32_t count(List list) const;
  Ref at(List list, std::uint32_t index) const;
  /// Returns the number of present children of a kind; the external flag of kinds is ignored.
  std::uint32_t count(Ref parent, Kind kind) const;
  Ref at(Ref parent, Kind kind, std::uint32_t index) const;
  /// Returns whether the object is an endpoint of this kind that is listed now.
  bool isListed(Ref endpoint, List list) const;

  // These return the statuses of `platform::MidiService`.
  platform::Status integer(Ref object, std::string_view property, std::int32_t& value) const;
  platform::Status text(Ref object, std::string_view property, platform::SharedText& value) const;
  platform::Status data(Ref object, std::string_view property, platform::Value::Data& value) const;
  platform::Status properties(Ref object, platform::Value& dictionary) const;
  platform::Status find(std::int32_t uniqueIdentifier, Ref& object, Kind& kind) const;

 private:
  /// An object, with its texts in the form in which they are handed out.
  struct Entry {
    backend::MidiObject object;
    platform::SharedText name;
    platform::SharedText displayName;
    std::vector<Ref> children;
  };

  void store(backend::MidiObject object);
  void makeLists();
  const Entry* entry(Ref object) const;
  bool isPresent(const Entry& entry) const;
  std::vector<Ref> childrenOf(Ref parent, Kind kind) const;
  /// Returns the value of a property in the dictionary; null if there is none.
  static const platform::Value* inDictionary(const Entry& entry, std::string_view property);

  mutable std::mutex mMutex;
  std::vector<Entry> mEntries;  ///< In order of the inventory.
  std::unordered_map<std::uint32_t, std::size_t> mIndex;
  std::vector<Ref> mLists[4];
};

}  // namespace orvane::host
