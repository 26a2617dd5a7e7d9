// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/backend/MidiTransport.h"
#include "platform/pipewire/Inventory.h"

namespace orvane::pipewire {

/// The server's MIDI ports as devices, entities and endpoints. A node is a device with one entity, a port an endpoint
/// called NODE:PORT. Of nodes and ports with equal names the oldest one counts. Ports of this process are left out.
/// An object that comes back under the same name keeps its handle. Not thread-safe.
class MidiCatalogue {
 public:
  /// Takes the state of the server. Returns the changes since the last call in order, parents before their children,
  /// removed objects in the opposite order.
  std::vector<backend::MidiChange> update(const Inventory& inventory);

  /// Returns the server's port behind an endpoint, or `std::nullopt` if it is not there now.
  std::optional<std::uint32_t> portOf(platform::MidiObjectRef endpoint) const;
  /// Returns the name of an endpoint.
  std::string nameOf(platform::MidiObjectRef endpoint) const;
  /// Returns a handle that no object has had.
  platform::MidiObjectRef newHandle() { return static_cast<platform::MidiObjectRef>(mNextHandle++); }

 private:
  struct Entry {
    backend::MidiObject object;
    std::uint32_t port = 0;  ///< Of an endpoint: the server's identifier.
  };

  std::vector<Entry> wanted(const Inventory& inventory);
  void remove(const std::vector<Entry>& present, std::vector<backend::MidiChange>& changes);
  void add(Entry entry, std::vector<backend::MidiChange>& changes);
  Entry* find(platform::MidiObjectRef object);
  const Entry* find(platform::MidiObjectRef object) const;
  platform::MidiObjectRef handleOf(const std::string& key);

  std::uint32_t mNextHandle = 1;
  std::map<std::string, platform::MidiObjectRef> mHandles;  ///< By kind and name.
  std::vector<Entry> mEntries;  ///< All objects there were, in the order in which they came.
  std::unordered_map<platform::MidiObjectRef, std::size_t> mPlaces;  ///< In `mEntries`.
};

/// The unique identifier of an object of a kind (`device`, `entity`, `source` or `destination`): a hash of the kind and
/// the name, never 0.
std::int32_t uniqueIdentifier(platform::MidiObjectKind kind, std::string_view name);

}  // namespace orvane::pipewire
