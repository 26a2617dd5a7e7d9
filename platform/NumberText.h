// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <string>

namespace orvane::platform {

/// Returns the shortest text that reads back as the same number in any locale: "0.25", "1000000000". Uses an exponent
/// for magnitudes below 1e-6 or from 1e15 on ("1e+300"), if that is shorter. Infinity and not-a-number give "inf" and
/// "nan". Thread-safe; not real-time safe.
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
