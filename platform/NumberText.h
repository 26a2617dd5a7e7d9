// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <string>

namespace orvane::platform {

/// Returns the shortest text from which the same number can be parsed, independent of the locale: "0.25", "1000000000".
/// For magnitudes below 1e-6 or of at least 1e15, uses an exponent ("1e+300") if the text is then shorter. Infinity and
/// not-a-number give "inf" and "nan". Thread-safe; not real-time safe.
inline std::string numberText(double number) {
  const double magnitude = std::fabs(number);
  const bool isPlain = number == 0 || (magnitude >= 1e-6 && magnitude < 1e15);
  std::array<char, 32> text{};
  char* const end = text.data() + text.size();
  const auto written = isPlain ? std::to_chars(text.data(), end, number, std::chars_format::fixed)
                               : std::to_chars(text.data(), end, number);
  return {text.data(), written.ptr};
}

}  // namespace orvane::platform
