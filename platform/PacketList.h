// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

namespace orvane::platform {

/// A list of MIDI 1.0 packets in one block of memory. This record is only the beginning of the block: the packets
/// follow it, the first at offset 4. The block must be aligned to 4 bytes. All numbers have the native byte order.
///
/// | Offset in a packet | Bytes | Content |
/// |---|---|---|
/// | 0 | 8 | time stamp: host time in nanoseconds (see `Clock`); 0 means "now" |
/// | 8 | 2 | number of data bytes |
/// | 10 | number of data bytes | data |
///
/// The next packet begins at the first multiple of 4 at or after the end of the data.
struct PacketList {
  std::uint32_t numPackets = 0;
};

/// A packet of a list. The data belongs to the list.
struct MidiPacket {
  std::uint64_t timeStamp = 0;
  std::span<const std::uint8_t> data;
};

/// Sizes of packet lists, in bytes.
namespace packet_list {

inline constexpr std::size_t listHeader = 4;     ///< Before the first packet.
inline constexpr std::size_t packetHeader = 10;  ///< Before the data of a packet.
inline constexpr std::size_t maxData = 65535;    ///< The maximum number of data bytes of a packet.

/// Returns the offset of the next packet after one that begins at offset 0 and has `length` data bytes.
constexpr std::size_t packetStride(std::size_t length) {
  return (packetHeader + length + 3) / 4 * 4;
}

}  // namespace packet_list

// The functions below are real-time safe. They are thread-safe for different lists.

/// Returns the packet at `position`, which must be the beginning of a packet.
inline MidiPacket packetAt(const std::uint8_t* position) {
  std::uint64_t time = 0;
  std::uint16_t length = 0;
  std::memcpy(&time, position, sizeof time);
  std::memcpy(&length, position + sizeof time, sizeof length);
  return {time, {position + packet_list::packetHeader, length}};
}

/// The packets of a list, in order, for use in a range-based `for` statement.
class PacketRange {
 public:
  /// Creates the range of all packets of `list`, which must outlive it.
  explicit PacketRange(const PacketList& list)
      : mFirst(reinterpret_cast<const std::uint8_t*>(&list) + packet_list::listHeader), mCount(list.numPackets) {}

  class Iterator {
   public:
    Iterator(const std::uint8_t* position, std::uint32_t left) : mPosition(position), mLeft(left) {}
    MidiPacket operator*() const { return packetAt(mPosition); }
    Iterator& operator++() {
      // The last packet may end exactly where the block ends, so the position behind it is not computed.
      if (--mLeft > 0) mPosition += packet_list::packetStride(packetAt(mPosition).data.size());
      return *this;
    }
    bool operator==(const Iterator& other) const { return mLeft == other.mLeft; }

   private:
    const std::uint8_t* mPosition;
    std::uint32_t mLeft;
  };

  Iterator begin() const { return {mFirst, mCount}; }
  Iterator end() const { return {mFirst, 0}; }

 private:
  const std::uint8_t* mFirst;
  std::uint32_t mCount;
};

/// Returns the size in bytes of a list in a block of `blockBytes` bytes, or `std::nullopt` if the block ends before the
/// last packet does. Reads nothing outside the block.
inline std::optional<std::size_t> packetListSize(const PacketList& list, std::size_t blockBytes) {
  std::size_t end = packet_list::listHeader;
  if (blockBytes < end) return std::nullopt;
  const auto* const block = reinterpret_cast<const std::uint8_t*>(&list);
  for (std::uint32_t packet = 0; packet < list.numPackets; ++packet) {
    const std::size_t start = (end + 3) / 4 * 4;
    if (start > blockBytes || blockBytes - start < packet_list::packetHeader) return std::nullopt;
    end = start + packet_list::packetHeader + packetAt(block + start).data.size();
    if (end > blockBytes) return std::nullopt;
  }
  return end;
}

/// Makes `list` an empty list and returns the position of its first packet. The block must have at least 4 bytes.
inline std::uint8_t* initPacketList(PacketList& list) {
  list.numPackets = 0;
  return reinterpret_cast<std::uint8_t*>(&list) + packet_list::listHeader;
}

/// Adds an event to a list in a block of `capacity` bytes. `current` is the position that `initPacketList` or the
/// previous call returned.
///
/// The data is appended to the current packet if that packet has the time stamp `time`, neither it nor the event is a
/// system-exclusive message (begins with F0 or ends with F7), and both together have at most 65535 bytes. Otherwise a
/// new packet begins. Returns the position of the packet that holds the event. If the data would end beyond the
/// capacity, or has more than 65535 bytes, returns null and leaves the list unchanged.
inline std::uint8_t* addToPacketList(PacketList& list, std::size_t capacity, std::uint8_t* current, std::uint64_t time,
                                     std::span<const std::uint8_t> data) {
  const auto isExclusive = [](std::span<const std::uint8_t> bytes) {
    return !bytes.empty() && (bytes.front() == 0xF0 || bytes.back() == 0xF7);
  };
  const auto roomAfter = [&](const std::uint8_t* position) {
    const auto offset = static_cast<std::size_t>(position - reinterpret_cast<std::uint8_t*>(&list));
    return offset < capacity ? capacity - offset : 0;
  };
  const auto setLength = [](std::uint8_t* packet, std::size_t bytes) {
    const auto length = static_cast<std::uint16_t>(bytes);
    std::memcpy(packet + sizeof time, &length, sizeof length);
  };
  if (data.size() > packet_list::maxData) return nullptr;
  if (list.numPackets > 0) {
    const MidiPacket packet = packetAt(current);
    const std::size_t joined = packet.data.size() + data.size();
    if (packet.timeStamp == time && joined <= packet_list::maxData && !isExclusive(packet.data) && !isExclusive(data)) {
      if (roomAfter(current) < packet_list::packetHeader + joined) return nullptr;
      if (!data.empty())
        std::memcpy(current + packet_list::packetHeader + packet.data.size(), data.data(), data.size());
      setLength(current, joined);
      return current;
    }
    if (roomAfter(current) < packet_list::packetStride(packet.data.size())) return nullptr;
    current += packet_list::packetStride(packet.data.size());
  }
  if (roomAfter(current) < packet_list::packetHeader + data.size()) return nullptr;
  std::memcpy(current, &time, sizeof time);
  setLength(current, data.size());
  if (!data.empty()) std::memcpy(current + packet_list::packetHeader, data.data(), data.size());
  ++list.numPackets;
  return current;
}

}  // namespace orvane::platform
