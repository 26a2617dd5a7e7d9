// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace orvane::host {

/// Converts Universal MIDI Packets (32-bit words in native byte order) to messages of the MIDI 1.0 byte stream, and
/// calls `take` for each, in order. Pieces of a system-exclusive message become several messages, F0 at the beginning
/// of the first, F7 at the end of the last. Values of MIDI 2.0 channel messages are reduced to 7 bits (pitch bend: 14
/// bits); a note-on whose velocity would become 0 gets velocity 1. Other kinds of packets, and an incomplete last
/// packet, are skipped. Real-time safe if `take` is.
void convertUniversalPackets(std::span<const std::uint8_t> words,
                             const std::function<void(std::span<const std::uint8_t> message)>& take);

}  // namespace orvane::host
