// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/PXX4CCString.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace {

constexpr std::int32_t maxDecimal = 199999;

/// Returns the four bytes of a code, most significant byte first.
std::array<char, 4> charactersOf(std::uint32_t code) {
  return {static_cast<char>(code >> 24), static_cast<char>(code >> 16), static_cast<char>(code >> 8),
          static_cast<char>(code)};
}

/// Returns whether the character is printable ASCII. The result depends neither on the locale nor on whether `char` is
/// signed.
bool isPrintable(char character) {
  return character >= 0x20 && character <= 0x7E;
}

/// Writes the text of `code` into a buffer of zeros. The longest text, "0xffffffff", leaves room for the terminating
/// zero.
void render(std::int32_t code, std::string_view quote, char (&text)[16]) {
  const auto bits = static_cast<std::uint32_t>(code);
  const auto characters = charactersOf(bits);
  if (std::all_of(characters.begin(), characters.end(), isPrintable)) {
    char* end = std::copy(quote.begin(), quote.end(), text);
    end = std::copy(characters.begin(), characters.end(), end);
    std::copy(quote.begin(), quote.end(), end);
  } else if (code >= -maxDecimal && code <= maxDecimal) {
    std::to_chars(text, text + sizeof text - 1, code);
  } else {
    text[0] = '0';
    text[1] = 'x';
    std::to_chars(text + 2, text + sizeof text - 1, bits, 16);
  }
}

}  // namespace

PXX4CCString::PXX4CCString(std::int32_t code) noexcept {
  render(code, "'", mText);
}

PXX4CCStringNoQuote::PXX4CCStringNoQuote(std::int32_t code) noexcept {
  render(code, "", mText);
}
