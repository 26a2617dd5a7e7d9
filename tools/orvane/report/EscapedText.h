// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace orvane::tool {

/// Returns `text` with each byte for which `mustEscape` returns true replaced by \xNN, where NN are two hexadecimal
/// digits.
template <typename Predicate>
std::string escapeBytes(std::string_view text, Predicate mustEscape) {
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, mustEscape(byte) ? "\\x%02X" : "%c", byte);
    result += escaped;
  }
  return result;
}

}  // namespace orvane::tool
