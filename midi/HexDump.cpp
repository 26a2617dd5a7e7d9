// SPDX-License-Identifier: MIT
#include "midi/HexDump.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace orvane {

namespace {

constexpr std::uint8_t firstRealtime = 0xF8;
/// The text of a byte, " XX", padded to four characters so that it can be copied in one step.
constexpr std::size_t byteText = 3;
constexpr std::size_t paddedByteText = 4;
/// The most characters of a packet without its bytes: " [-9223372036854775808]:".
constexpr std::size_t maxPrefix = 32;

using ByteTexts = std::array<char, 256 * paddedByteText>;

constexpr ByteTexts byteTexts = [] {
  constexpr std::string_view digits = "0123456789ABCDEF";
  ByteTexts texts{};
  for (std::size_t byte = 0; byte < 256; ++byte) {
    texts[byte * paddedByteText] = ' ';
    texts[byte * paddedByteText + 1] = digits[byte >> 4];
    texts[byte * paddedByteText + 2] = digits[byte & 15];
  }
  return texts;
}();

constexpr std::array<char, 200> twoDigits = [] {
  std::array<char, 200> digits{};
  for (std::size_t number = 0; number < 100; ++number) {
    digits[2 * number] = static_cast<char>('0' + number / 10);
    digits[2 * number + 1] = static_cast<char>('0' + number % 10);
  }
  return digits;
}();

/// Writes time stamps as decimal text. Successive time stamps mostly have the same leading digits, so the text of all
/// but the last eight digits is kept.
class TimeText {
 public:
  char* write(char* to, std::uint64_t time) {
    const std::uint64_t leading = time / tail;
    const auto number = static_cast<std::int64_t>(time);
    if (leading != mLeading || leading == 0 || number < 0) {
      char* const end = std::to_chars(to, to + maxPrefix, number).ptr;
      // A short number has no leading part. That of a negative one is not the quotient.
      if (leading == 0 || number < 0) return end;
      mLeading = leading;
      mSize = static_cast<std::size_t>(end - to) - tailDigits;
      std::memcpy(mText.data(), to, mText.size());
      return end;
    }
    std::memcpy(to, mText.data(), mText.size());
    to += mSize;
    auto rest = static_cast<std::uint32_t>(time % tail);
    const std::uint32_t high = rest / 10000;
    rest %= 10000;
    std::memcpy(to, &twoDigits[2 * (high / 100)], 2);
    std::memcpy(to + 2, &twoDigits[2 * (high % 100)], 2);
    std::memcpy(to + 4, &twoDigits[2 * (rest / 100)], 2);
    std::memcpy(to + 6, &twoDigits[2 * (rest % 100)], 2);
    return to + tailDigits;
  }

 private:
  static constexpr std::uint64_t tail = 100'000'000;
  static constexpr std::size_t tailDigits = 8;

  std::uint64_t mLeading = 0;
  std::size_t mSize = 0;
  std::array<char, 12> mText{};  ///< Large enough for the leading part of any positive 64-bit number.
};

char* writeBytes(char* to, std::span<const std::uint8_t> data, bool includeRealtime) {
  const auto write = [](char* at, std::uint8_t byte) {
    std::memcpy(at, &byteTexts[byte * paddedByteText], paddedByteText);
  };
  if (includeRealtime) {
    for (std::size_t i = 0; i < data.size(); ++i) write(to + i * byteText, data[i]);
    return to + data.size() * byteText;
  }
  for (const std::uint8_t byte : data) {
    write(to, byte);
    to += byte < firstRealtime ? byteText : 0;
  }
  return to;
}

/// A text that is kept between calls, so that its memory is allocated rarely.
struct Buffer {
  /// Returns the end of the text after making room for a packet with `bytes` data bytes.
  char* reserve(std::size_t size, std::size_t bytes) {
    const std::size_t needed = size + maxPrefix + bytes * byteText + paddedByteText;
    if (text.size() < needed) text.resize(2 * needed);
    return text.data() + size;
  }

  std::vector<char> text;
  TimeText time;
};

}  // namespace

std::string_view hexDump(const platform::PacketList& list, bool includeRealtime) {
  thread_local Buffer buffer;
  std::size_t size = 0;
  bool hasBytes = false;
  for (const platform::MidiPacket packet : platform::PacketRange(list)) {
    char* to = buffer.reserve(size, packet.data.size());
    if (size > 0) *to++ = ' ';
    *to++ = '[';
    to = buffer.time.write(to, packet.timeStamp);
    *to++ = ']';
    *to++ = ':';
    char* const end = writeBytes(to, packet.data, includeRealtime);
    hasBytes = hasBytes || end != to;
    size = static_cast<std::size_t>(end - buffer.text.data());
  }
  if (hasBytes) buffer.text[size++] = '\n';
  return {buffer.text.data(), size};
}

}  // namespace orvane
