// SPDX-License-Identifier: MIT
#include "midi/FixedText.h"

#include <algorithm>

namespace orvane {

namespace {

bool continues(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// Returns the text up to its first zero byte.
std::string_view beforeZero(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

}  // namespace

std::string cutToCharacters(std::string_view text, std::size_t maxBytes) {
  text = beforeZero(text);
  if (text.size() <= maxBytes) return std::string(text);
  std::size_t end = maxBytes;
  while (end > 0 && continues(text[end])) --end;
  return std::string(text.substr(0, end));
}

std::string westernText(std::string_view text, std::size_t maxCharacters) {
  text = beforeZero(text);
  std::string result;
  for (std::size_t at = 0; at < text.size() && result.size() < maxCharacters;) {
    const auto first = static_cast<unsigned char>(text[at++]);
    if (first < 0x80) {
      result += static_cast<char>(first);
      continue;
    }
    const std::size_t begin = at;
    while (at < text.size() && continues(text[at])) ++at;
    // The characters of the set are U+00A0 to U+00FF, after control characters from U+0080 on.
    const bool isInSet = (first == 0xC2 || first == 0xC3) && at == begin + 1;
    result += isInSet ? static_cast<char>((first & 0x03) << 6 | (text[begin] & 0x3F)) : '?';
  }
  return result;
}

}  // namespace orvane
