// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace orvane {

/// The meaning of a character in hexadecimal MIDI text.
namespace hex_text {

inline constexpr std::uint8_t firstOther = 16;  ///< Lower numbers are the values of digits.
inline constexpr std::uint8_t blank = 16;
inline constexpr std::uint8_t bar = 17;
inline constexpr std::uint8_t wrong = 18;

inline constexpr std::array<std::uint8_t, 256> meanings = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(wrong);
  for (const char character : std::string_view(" \t\n\v\f\r")) table[static_cast<std::uint8_t>(character)] = blank;
  table['|'] = bar;
  for (std::uint8_t digit = 0; digit < 10; ++digit) table['0' + digit] = digit;
  for (std::uint8_t digit = 10; digit < 16; ++digit) table['A' + digit - 10] = table['a' + digit - 10] = digit;
  return table;
}();

}  // namespace hex_text

/// Reads hexadecimal MIDI text: two digits are a byte, a bar ends a group of bytes, and white space is ignored. A
/// single digit before a bar or the end is a byte of its own.
///
/// Calls `addGroup(bars, bytes)` for each group that has bytes, with the number of bars before it. Returns false if it
/// meets any other character; the groups before it have then been added, the group that contains it has not.
template <typename AddGroup>
bool readHexText(std::string_view text, const AddGroup& addGroup) {
  // Two characters make a byte, and a last digit may stand alone.
  std::vector<std::uint8_t> bytes(text.size() / 2 + 1);
  std::uint8_t* end = bytes.data();
  std::uint64_t bars = 0;
  std::uint8_t pending = 0;
  bool hasPending = false;
  const auto endGroup = [&] {
    if (hasPending) *end++ = pending;
    hasPending = false;
    if (end != bytes.data()) addGroup(bars, std::span<const std::uint8_t>(bytes.data(), end));
    end = bytes.data();
  };
  const auto* at = reinterpret_cast<const std::uint8_t*>(text.data());
  const std::uint8_t* const textEnd = at + text.size();
  while (at != textEnd) {
    const std::uint8_t meaning = hex_text::meanings[*at++];
    if (meaning < hex_text::firstOther) {
      if (hasPending) {
        *end++ = static_cast<std::uint8_t>(pending << 4 | meaning);
        hasPending = false;
        continue;
      }
      // The usual form, two adjacent digits and mostly a blank after them, is read in one step.
      if (at != textEnd && hex_text::meanings[*at] < hex_text::firstOther) {
        *end++ = static_cast<std::uint8_t>(meaning << 4 | hex_text::meanings[*at++]);
        if (at != textEnd && *at == ' ') ++at;
        continue;
      }
      pending = meaning;
      hasPending = true;
    } else if (meaning == hex_text::bar) {
      endGroup();
      ++bars;
    } else if (meaning == hex_text::wrong) {
      return false;
    }
  }
  endGroup();
  return true;
}

}  // namespace orvane
