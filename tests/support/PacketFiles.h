// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>
#include <random>

#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "tests/support/Test.h"

namespace orvane::test {

/// The packets of a sound file.
struct Packets {
  platform::StreamDescription format;
  std::vector<std::byte> cookie;
  std::vector<std::byte> bytes;
  std::vector<platform::PacketDescription> descriptions;  ///< Empty for linear PCM.

  std::uint32_t count() const {
    return static_cast<std::uint32_t>(format.bytesPerPacket != 0 ? bytes.size() / format.bytesPerPacket
                                                                 : descriptions.size());
  }
  std::uint64_t frames() const {
    std::uint64_t all = format.bytesPerPacket != 0 ? count() : 0;
    for (const auto& each : descriptions) all += each.framesInPacket;
    return all;
  }
};

/// Returns `size` random bytes.
inline std::vector<std::byte> randomBytes(std::size_t size) {
  std::mt19937 random(static_cast<unsigned>(size));
  std::vector<std::byte> bytes(size);
  for (std::byte& each : bytes) each = static_cast<std::byte>(random());
  return bytes;
}

/// Appends the packets from `first` on, `atOnce` at a time, to a file that is being written. Returns the first status
/// that is not success.
inline platform::Status append(platform::SoundFileService& files, platform::SoundFile file, const Packets& packets,
                               std::uint32_t first = 0, std::uint32_t atOnce = 333) {
  const std::uint32_t packetBytes = packets.format.bytesPerPacket;
  for (std::uint32_t end = 0; first < packets.count(); first = end) {
    end = std::min(first + atOnce, packets.count());
    std::uint32_t count = end - first;
    const bool isPcm = packetBytes != 0;
    const std::byte* const data = packets.bytes.data() + (isPcm ? std::size_t{first} * packetBytes : 0);
    const auto size = isPcm ? count * packetBytes : static_cast<std::uint32_t>(packets.bytes.size());
    const auto* const described = isPcm ? nullptr : packets.descriptions.data() + first;
    const platform::Status status = files.writePackets(file, size, described, first, count, data);
    if (status != 0) return status;
    EXPECT_EQ(count, end - first);
  }
  return 0;
}

/// Writes a file. Returns the first status that is not success.
inline platform::Status writeFile(platform::SoundFileService& files, const std::string& path, std::uint32_t type,
                                  const Packets& packets) {
  platform::SoundFile file{};
  platform::Status status = files.create(path, type, packets.format, file);
  if (status == 0 && !packets.cookie.empty()) {
    status = files.setProperty(file, platform::SoundFileProperty::magicCookie,
                               static_cast<std::uint32_t>(packets.cookie.size()), packets.cookie.data());
  }
  if (status == 0) status = append(files, file, packets);
  const platform::Status closed = files.close(file);
  return status != 0 ? status : closed;
}

/// Reads all packets of a file, at most `atOnce` at a time. Returns the first status that is not success.
inline platform::Status readFile(platform::SoundFileService& files, const std::string& path, Packets& packets,
                                 std::uint32_t atOnce = 777) {
  packets = {};
  platform::SoundFile file{};
  if (const platform::Status status = files.open(path, file); status != 0) return status;
  const auto close = std::shared_ptr<void>(nullptr, [&](void*) { files.close(file); });
  platform::SoundFileFormat format;
  std::uint32_t size = sizeof format, bound = 0, boundSize = sizeof bound;
  bool isWritable = true;
  EXPECT_EQ(files.property(file, platform::SoundFileProperty::formatList, size, &format), 0);
  packets.format = format.description;
  const auto status = files.property(file, platform::SoundFileProperty::packetSizeUpperBound, boundSize, &bound);
  if (status != 0) return status;
  EXPECT_EQ(files.propertyInfo(file, platform::SoundFileProperty::magicCookie, size, isWritable), 0);
  EXPECT_FALSE(isWritable);
  packets.cookie.resize(size);
  EXPECT_EQ(files.property(file, platform::SoundFileProperty::magicCookie, size, packets.cookie.data()), 0);
  for (std::int64_t next = 0;;) {
    std::vector<std::byte> room(std::size_t{bound} * atOnce);
    std::vector<platform::PacketDescription> described(atOnce);
    std::uint32_t bytes = static_cast<std::uint32_t>(room.size()), count = atOnce;
    if (const auto read = files.readPackets(file, bytes, described.data(), next, count, room.data()); read != 0)
      return read;
    if (count == 0) return 0;
    for (std::uint32_t i = 0; format.description.bytesPerPacket == 0 && i < count; ++i) {
      described[i].startOffset += static_cast<std::int64_t>(packets.bytes.size());
      packets.descriptions.push_back(described[i]);
    }
    packets.bytes.insert(packets.bytes.end(), room.begin(), room.begin() + bytes);
    next += count;
  }
}

}  // namespace orvane::test
