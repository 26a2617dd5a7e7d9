// SPDX-License-Identifier: MIT
#include "platform/host/midi/MidiInbox.h"

#include <algorithm>
#include <utility>

#include "platform/host/midi/UniversalPackets.h"

namespace orvane::host {

using platform::MidiObjectRef;

namespace {

constexpr std::size_t queueBytes = std::size_t{1} << 20;
/// Room for the longest packet with its header, rounded up to whole words.
constexpr std::size_t listWords =
    (platform::packet_list::listHeader + platform::packet_list::packetStride(platform::packet_list::maxData)) / 4;

std::uint32_t key(MidiObjectRef source) {
  return static_cast<std::uint32_t>(source);
}

}  // namespace

MidiInbox::MidiInbox(std::function<void()> onEmpty)
    : mOnEmpty(std::move(onEmpty)),
      mQueue(queueBytes),
      mListBytes(4 * listWords),
      mListMemory(listWords),
      mList(*reinterpret_cast<platform::PacketList*>(mListMemory.data())),
      mCurrentPacket(platform::initPacketList(mList)) {}

void MidiInbox::start(platform::Worker& worker, std::weak_ptr<void> owner, bool joinsExclusive) {
  mJoiner = joinsExclusive ? std::make_unique<ExclusiveJoiner>() : nullptr;
  mTrigger = worker.makeTrigger([this, owner = std::move(owner)] {
    if (const auto alive = owner.lock()) deliver();
  });
}

// ---- connections

void MidiInbox::connect(const std::shared_ptr<MidiInputPort>& port, MidiObjectRef source, void* context) {
  std::shared_ptr<Connection> earlier;
  {
    const std::lock_guard lock(mMutex);
    auto table = std::make_shared<Table>(*mTable);
    Connections& connections = (*table)[key(source)];
    const auto found = std::ranges::find(connections, port, [](const auto& each) { return each->port; });
    if (found == connections.end()) {
      connections.push_back(std::make_shared<Connection>(Connection{port, context}));
      mTable = std::move(table);
      ++mVersion;
      return;
    }
    earlier = *found;
  }
  // Without the table's mutex, because the port's function may call this object.
  const std::lock_guard lock(port->mutex);
  earlier->context = context;
}

/// Removes the connection of a port and a source from a table, and returns it; null if there is none.
std::shared_ptr<MidiInbox::Connection> MidiInbox::take(Table& table, const MidiInputPort& port, std::uint32_t source) {
  const auto entry = table.find(source);
  if (entry == table.end()) return nullptr;
  const auto found = std::ranges::find(entry->second, &port, [](const auto& each) { return each->port.get(); });
  if (found == entry->second.end()) return nullptr;
  auto taken = *found;
  entry->second.erase(found);
  if (entry->second.empty()) table.erase(entry);
  return taken;
}

bool MidiInbox::disconnect(const MidiInputPort& port, MidiObjectRef source) {
  std::shared_ptr<Connection> taken;
  {
    const std::lock_guard lock(mMutex);
    auto table = std::make_shared<Table>(*mTable);
    taken = take(*table, port, key(source));
    if (!taken) return false;
    mTable = std::move(table);
    ++mVersion;
  }
  // Without the table's mutex, because the port's function may call this object.
  {
    const std::lock_guard lock(taken->port->mutex);
    taken->isOpen = false;
  }
  // The worker drops its table, which holds the port, even if no event comes any more.
  if (mTrigger) wake();
  return true;
}

std::vector<MidiObjectRef> MidiInbox::disconnectAll(const MidiInputPort& port) {
  std::vector<MidiObjectRef> sources;
  {
    const std::lock_guard lock(mMutex);
    for (const auto& [source, connections] : *mTable) {
      if (std::ranges::any_of(connections, [&](const auto& each) { return each->port.get() == &port; })) {
        sources.push_back(static_cast<MidiObjectRef>(source));
      }
    }
  }
  std::erase_if(sources, [&](MidiObjectRef source) { return !disconnect(port, source); });
  return sources;
}

bool MidiInbox::isConnected(MidiObjectRef source) {
  const std::lock_guard lock(mMutex);
  return mTable->contains(key(source));
}

// ---- delivery

void MidiInbox::refreshTable() {
  if (mUsedVersion == mVersion) return;
  const std::lock_guard lock(mMutex);
  mUsedTable = mTable;
  mUsedVersion = mVersion;
}

void MidiInbox::deliver() {
  mIsDelivering = true;
  refreshTable();
  while (const auto event = mQueue.front()) {
    collect(*event);
    mQueue.pop();
  }
  flush();
  mIsDelivering = false;
  mOnEmpty();
}

void MidiInbox::collect(const backend::MidiEvent& event) {
  if (event.endpoint != mSource) flush();
  mSource = event.endpoint;
  if (event.protocol == backend::MidiProtocol::bytes) return add(event);
  convertUniversalPackets(event.bytes, [&](std::span<const std::uint8_t> message) {
    add({event.time, event.endpoint, message});
  });
}

void MidiInbox::add(const backend::MidiEvent& event) {
  if (!mJoiner) return addToList(event);
  mJoiner->take(key(event.endpoint), event.bytes, [&](std::span<const std::uint8_t> message) {
    addToList({event.time, event.endpoint, message});
  });
}

/// Adds an event to the list, after delivering the list if the event does not fit.
void MidiInbox::addToList(const backend::MidiEvent& event) {
  const auto time = static_cast<std::uint64_t>(event.time.count());
  std::uint8_t* packet = platform::addToPacketList(mList, mListBytes, mCurrentPacket, time, event.bytes);
  if (packet == nullptr) {
    flush();
    packet = platform::addToPacketList(mList, mListBytes, mCurrentPacket, time, event.bytes);
  }
  mCurrentPacket = packet;
}

void MidiInbox::flush() {
  if (mList.numPackets == 0) return;
  refreshTable();
  if (const auto entry = mUsedTable->find(key(mSource)); entry != mUsedTable->end()) {
    std::uint64_t bytes = 0;
    for (const platform::MidiPacket packet : platform::PacketRange(mList)) bytes += packet.data.size();
    for (const auto& connection : entry->second) {
      const std::lock_guard lock(connection->port->mutex);
      if (!connection->isOpen) continue;
      mDelivered.add(mList.numPackets, bytes);
      connection->port->receive(mList, connection->context);
    }
  }
  mCurrentPacket = platform::initPacketList(mList);
}

}  // namespace orvane::host
