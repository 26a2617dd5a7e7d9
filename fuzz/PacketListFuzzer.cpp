// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/SettingsCheck.h"
#include "midi/HexDump.h"
#include "platform/PacketList.h"

namespace orvane {

using platform::PacketList;

namespace {

/// Walks and prints a list that ends where its block ends, and copies it event by event.
void walk(const PacketList& list, std::size_t size) {
  std::vector<std::uint32_t> memory(size / 4 + 3);
  auto& copy = *reinterpret_cast<PacketList*>(memory.data());
  std::uint8_t* current = platform::initPacketList(copy);
  std::size_t bytes = 0;
  std::uint32_t packets = 0;
  for (const platform::MidiPacket packet : platform::PacketRange(list)) {
    bytes += packet.data.size();
    ++packets;
    current = platform::addToPacketList(copy, 4 * memory.size(), current, packet.timeStamp, packet.data);
    fuzz::require(current != nullptr);
  }
  fuzz::require(packets == list.numPackets && copy.numPackets <= packets);
  fuzz::require(platform::packetListSize(copy, 4 * memory.size()).value() <= size);
  std::size_t copied = 0;
  for (const platform::MidiPacket packet : platform::PacketRange(copy)) copied += packet.data.size();
  fuzz::require(copied == bytes);
  const std::size_t all = hexDump(list, true).size();
  fuzz::require(all >= 3 * bytes && hexDump(list, false).size() <= all);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < sizeof(PacketList)) return 0;
  // A copy of exactly this size, so that the address sanitizer sees every read behind it.
  std::vector<std::uint8_t> block(data, data + size);
  block.shrink_to_fit();
  const auto& list = *reinterpret_cast<const PacketList*>(block.data());
  const auto end = platform::packetListSize(list, size);
  if (!end) return 0;
  fuzz::require(*end <= size);
  block.resize(*end);
  block.shrink_to_fit();
  walk(*reinterpret_cast<const PacketList*>(block.data()), *end);
  return 0;
}

}  // namespace orvane
