// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>

// Operations whose result or availability differs between processors. All functions are real-time safe.

namespace orvane {

/// The width of the vector registers that a loop uses.
enum class RegisterWidth {
  bits128,  ///< Present on every processor that the library is built for.
  bits256,  ///< AVX2, on x86-64.
};

/// Returns the widest registers that both this processor and the library support.
inline RegisterWidth widestRegisters() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) return RegisterWidth::bits256;
#endif
  return RegisterWidth::bits128;
}

/// Converts a number to a signed 32-bit integer: truncates toward zero and limits the result to the range of the type.
/// Not-a-number gives 0.
///
/// In C++ the conversion of a value out of range is undefined, and processors differ. This function gives the result of
/// Arm's conversion instruction everywhere.
constexpr std::int32_t truncateToInt32(double value) noexcept {
  using Limits = std::numeric_limits<std::int32_t>;
  if (value > Limits::min() && value < Limits::max()) return static_cast<std::int32_t>(value);
  if (value != value) return 0;
  return value < 0 ? Limits::min() : Limits::max();
}

}  // namespace orvane
