// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>

namespace orvane {

/// The value truncated toward zero and kept within the signed 32-bit range; not-a-number gives 0.
///
/// The language leaves a conversion out of range undefined and processors differ; this is what Arm's own conversion
/// does. Real-time safe.
constexpr std::int32_t truncateToInt32(double value) noexcept {
  using Limits = std::numeric_limits<std::int32_t>;
  if (value > Limits::min() && value < Limits::max()) return static_cast<std::int32_t>(value);
  if (value != value) return 0;
  return value < 0 ? Limits::min() : Limits::max();
}

}  // namespace orvane
