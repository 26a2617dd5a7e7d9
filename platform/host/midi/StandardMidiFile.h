// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/host/Result.h"

namespace orvane::host {

/// The events of a standard MIDI file in order of time, as packets for a packet list: messages of the same time are one
/// packet, each system-exclusive message, or piece of one, is a packet of its own. A plain value.
struct MidiFileContent {
  struct Packet {
    platform::HostTime time{};  ///< Since the beginning of the file.
    std::uint32_t offset = 0;   ///< In `bytes`.
    std::uint32_t length = 0;   ///< 1 to 65535.
  };

  std::span<const std::uint8_t> bytesOf(const Packet& packet) const {
    return std::span(bytes).subspan(packet.offset, packet.length);
  }

  std::vector<Packet> packets;
  std::vector<std::uint8_t> bytes;

  static constexpr std::size_t maxFileBytes = std::size_t{32} << 20;
  static constexpr std::size_t maxEvents = 4'000'000;
  static constexpr std::uint64_t maxSeconds = 100'000'000;
};

/// Reads a standard MIDI file of format 0, 1 or 2, also one in a RIFF container. `platform::SequencePlayer::loadFile`
/// describes what is accepted. Returns `invalidFile`, with a reason that states the place, for anything else. Not
/// real-time safe.
Result<std::shared_ptr<const MidiFileContent>> parseMidiFile(std::span<const std::uint8_t> file);

/// Reads the file at `path`. Also returns the failures of `openToRead`; the reason then contains the path.
Result<std::shared_ptr<const MidiFileContent>> readMidiFile(const std::string& path);

}  // namespace orvane::host
