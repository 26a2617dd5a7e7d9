// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "Pexutil/Source/Utility/PXAssert.h"
#include "platform/StreamDescription.h"

namespace PX {

/// A parsed text in the notation of linear PCM formats, and the first condition that it does not meet.
///
///     RATE-TYPE WIDTH [ALIGNMENT CONTAINER] MODIFIERS-CHANNELS        without blanks, for example 44100-S16IE-1
///
/// - RATE: hertz, decimal digits with an optional sign and fraction. White space may precede it.
/// - TYPE: `S` signed integers, `U` unsigned integers, any other character floats.
/// - WIDTH: bits of a sample.
/// - ALIGNMENT CONTAINER: `A` or `a` and the bits of the container, with the sample in its high (`A`) or low (`a`)
/// bits.
///   Without it the container is as wide as the sample.
/// - MODIFIERS: any of `E` big-endian, `e` little-endian (the default); `I` interleaved, `i` one buffer per channel
/// (the
///   default); `M` mixable (the default), `m` not mixable. Of two letters that contradict each other the later holds;
///   other characters are ignored.
/// - CHANNELS: decimal digits; no digits mean 0.
///
/// Numbers that do not fit wrap around at 32 bits.
struct LpcmNotation {
  orvane::platform::StreamDescription description{};
  /// The condition that the text does not meet, a text with static lifetime; null if the text is well-formed.
  const char* failedCondition = nullptr;

  /// Parses the `count` characters at `text`. Reads no character beyond them. Real-time safe.
  static constexpr LpcmNotation parse(const char* text, std::size_t count);
};

namespace Literals {

/// Returns the description of a linear PCM format, such as `"44100-S16IE-1"_lpcm`; see `LpcmNotation`. A malformed text
/// fails an assertion with the condition `*inToken == '-'` (a missing hyphen or a text that ends early) or `inToken ==
/// theEnd` (something other than digits for the channels). Can be evaluated at compile time, where a malformed text
/// does not compile. Real-time safe.
constexpr orvane::platform::StreamDescription operator""_lpcm(const char* text, std::size_t count) {
  const LpcmNotation notation = LpcmNotation::parse(text, count);
  if (notation.failedCondition != nullptr) FailAssertion(notation.failedCondition, __func__);
  return notation.description;
}

}  // namespace Literals

namespace Detail {

/// The part of a text that was not read yet.
struct LpcmReader {
  const char* inToken;
  const char* theEnd;

  constexpr bool at(char character) const { return inToken != theEnd && *inToken == character; }
  constexpr bool atDigit() const { return inToken != theEnd && *inToken >= '0' && *inToken <= '9'; }
  constexpr bool atSpace() const { return at(' ') || (inToken != theEnd && *inToken >= '\t' && *inToken <= '\r'); }
  constexpr bool skip(char character) {
    const bool isThere = at(character);
    if (isThere) ++inToken;
    return isThere;
  }

  constexpr std::uint32_t number() {
    std::uint32_t value = 0;
    for (; atDigit(); ++inToken) value = value * 10 + static_cast<std::uint32_t>(*inToken - '0');
    return value;
  }

  constexpr double rate() {
    while (atSpace()) ++inToken;
    const bool isNegative = at('-');
    if (isNegative || at('+')) ++inToken;
    double value = 0;
    for (; atDigit(); ++inToken) value = value * 10 + (*inToken - '0');
    if (skip('.')) {
      double divisor = 10;
      for (; atDigit(); ++inToken, divisor *= 10) value += (*inToken - '0') / divisor;
    }
    return isNegative ? -value : value;
  }
};

/// The letters of a format, in the form of the flags that they set.
struct LpcmLetters {
  std::uint32_t type = 0;
  std::uint32_t alignment = 0;
  bool isBigEndian = false;
  bool isInterleaved = false;
  bool isMixable = true;

  constexpr void modify(char letter) {
    if (letter == 'E' || letter == 'e') isBigEndian = letter == 'E';
    if (letter == 'I' || letter == 'i') isInterleaved = letter == 'I';
    if (letter == 'M' || letter == 'm') isMixable = letter == 'M';
  }
  constexpr std::uint32_t flags() const {
    namespace flag = orvane::platform::format_flag;
    const std::uint32_t all = type | alignment | (isBigEndian ? flag::bigEndian : 0) |
                              (isInterleaved ? 0 : flag::nonInterleaved) | (isMixable ? 0 : flag::nonMixable);
    return all == 0 ? flag::allClear : all;
  }
};

}  // namespace Detail

constexpr LpcmNotation LpcmNotation::parse(const char* text, std::size_t count) {
  namespace flag = orvane::platform::format_flag;
  constexpr const char* noHyphen = "*inToken == '-'";
  LpcmNotation result;
  Detail::LpcmReader reader{text, text + count};
  Detail::LpcmLetters letters;

  result.description.sampleRate = reader.rate();
  if (!reader.skip('-') || reader.inToken == reader.theEnd) return {.failedCondition = noHyphen};
  const char type = *reader.inToken++;
  letters.type = type == 'S' ? flag::signedInteger : type == 'U' ? 0 : flag::isFloat;

  const std::uint32_t width = reader.number();
  std::uint32_t container = width;
  const bool alignsHigh = reader.at('A');
  if (alignsHigh || reader.at('a')) {
    ++reader.inToken;
    container = reader.number();
  }
  letters.alignment = container == width ? flag::packed : alignsHigh ? flag::alignedHigh : 0;

  while (reader.inToken != reader.theEnd && !reader.at('-')) letters.modify(*reader.inToken++);
  if (!reader.skip('-')) return {.failedCondition = noHyphen};
  const std::uint32_t channels = reader.number();
  if (reader.inToken != reader.theEnd) return {.failedCondition = "inToken == theEnd"};

  constexpr std::uint32_t bitsPerByte = 8;
  result.description.formatID = orvane::platform::linearPcmFormatID;
  result.description.formatFlags = letters.flags();
  result.description.bytesPerFrame = (letters.isInterleaved ? channels : 1) * (container / bitsPerByte);
  result.description.bytesPerPacket = result.description.bytesPerFrame;
  result.description.framesPerPacket = 1;
  result.description.channelsPerFrame = channels;
  result.description.bitsPerChannel = width;
  return result;
}

}  // namespace PX
