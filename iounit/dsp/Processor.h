// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>

// Operations whose result or availability differs between processors. All real-time safe.

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

/// Truncates toward zero and saturates at the signed 32-bit range; not-a-number gives 0.
///
/// The language leaves a conversion out of range undefined, and processors differ; this is what Arm's conversion
/// instruction does.
constexpr std::int32_t truncateToInt32(double value) noexcept {
  using Limits = std::numeric_limits<std::int32_t>;
  if (value > Limits::min() && value < Limits::max()) return static_cast<std::int32_t>(value);
  if (value != value) return 0;
  return value < 0 ? Limits::min() : Limits::max();
}

}  // namespace orvane
