// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace orvane::tool {

/// The text with each byte that `mustGo` names as "\xFF", its number in hexadecimal.
template <typename Predicate>
std::string escapeBytes(std::string_view text, Predicate mustGo) {
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, mustGo(byte) ? "\\x%02X" : "%c", byte);
    result += escaped;
  }
  return result;
}

}  // namespace orvane::tool
