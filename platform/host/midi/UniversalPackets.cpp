// SPDX-License-Identifier: MIT
#include "platform/host/midi/UniversalPackets.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace orvane::host {

namespace {

using Take = std::function<void(std::span<const std::uint8_t>)>;

constexpr unsigned systemType = 1;
constexpr unsigned midi1Type = 2;
constexpr unsigned data64Type = 3;
constexpr unsigned midi2Type = 4;

/// Returns the byte `index`, counted from the most significant one.
std::uint8_t byteOf(std::uint32_t word, int index) {
  return static_cast<std::uint8_t>(word >> (24 - 8 * index));
}

/// Returns the number of bytes of a MIDI 1.0 message with this status byte.
std::size_t messageSize(std::uint8_t status) {
  if (status >= 0xF0) return status == 0xF2 ? 3 : status == 0xF1 || status == 0xF3 ? 2 : 1;
  return status >= 0xC0 && status < 0xE0 ? 2 : 3;
}

/// Takes up to six bytes of a system-exclusive message.
void takeData(std::uint32_t first, std::uint32_t second, const Take& take) {
  const unsigned form = first >> 20 & 0xF;  // 0: complete, 1: begin, 2: middle, 3: end
  const std::size_t count = std::min<std::size_t>(first >> 16 & 0xF, 6);
  std::array<std::uint8_t, 8> message{};
  std::size_t size = 0;
  if (form <= 1) message[size++] = 0xF0;
  const std::uint8_t bytes[] = {byteOf(first, 2),  byteOf(first, 3),  byteOf(second, 0),
                                byteOf(second, 1), byteOf(second, 2), byteOf(second, 3)};
  for (std::size_t index = 0; index < count; ++index) message[size++] = bytes[index] & 0x7F;
  if (form == 0 || form == 3) message[size++] = 0xF7;
  if (size > 0 && form <= 3) take({message.data(), size});
}

/// Takes a MIDI 2.0 channel message, reduced to MIDI 1.0.
void takeReduced(std::uint32_t first, std::uint32_t second, const Take& take) {
  const std::uint8_t status = byteOf(first, 1);
  const auto seven = static_cast<std::uint8_t>(second >> 25);
  const std::uint8_t index = byteOf(first, 2) & 0x7F;
  switch (status >> 4) {
    case 0x8:
      return take(std::array{status, index, seven});
    case 0x9:
      return take(std::array{status, index, std::max<std::uint8_t>(seven, 1)});
    case 0xA:
    case 0xB:
      return take(std::array{status, index, seven});
    case 0xC:
      if ((first & 1) != 0) {  // with a bank
        const auto control = static_cast<std::uint8_t>(0xB0 | (status & 0xF));
        take(std::array<std::uint8_t, 3>{control, 0, static_cast<std::uint8_t>(byteOf(second, 2) & 0x7F)});
        take(std::array<std::uint8_t, 3>{control, 32, static_cast<std::uint8_t>(byteOf(second, 3) & 0x7F)});
      }
      return take(std::array{status, static_cast<std::uint8_t>(byteOf(second, 0) & 0x7F)});
    case 0xD:
      return take(std::array{status, seven});
    case 0xE:
      return take(std::array{status, static_cast<std::uint8_t>(second >> 18 & 0x7F), seven});
    default:
      return;
  }
}

}  // namespace

void convertUniversalPackets(std::span<const std::uint8_t> words, const Take& take) {
  constexpr std::array<std::size_t, 16> wordsOfType = {1, 1, 1, 2, 2, 4, 1, 1, 2, 2, 2, 3, 3, 4, 4, 4};
  const auto word = [&](std::size_t index) {
    std::uint32_t value = 0;
    std::memcpy(&value, words.data() + index * sizeof value, sizeof value);
    return value;
  };
  const std::size_t count = words.size() / sizeof(std::uint32_t);
  for (std::size_t at = 0; at < count;) {
    const std::uint32_t first = word(at);
    const unsigned type = first >> 28;
    if (count - at < wordsOfType[type]) return;
    const std::array message{byteOf(first, 1), byteOf(first, 2), byteOf(first, 3)};
    const bool isMessage = type == systemType ? message[0] >= 0xF1 && message[0] != 0xF7 : message[0] >= 0x80;
    if ((type == systemType || (type == midi1Type && message[0] < 0xF0)) && isMessage) {
      take(std::span(message).first(messageSize(message[0])));
    }
    if (type == data64Type) takeData(first, word(at + 1), take);
    if (type == midi2Type) takeReduced(first, word(at + 1), take);
    at += wordsOfType[type];
  }
}

}  // namespace orvane::host
