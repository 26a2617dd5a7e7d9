// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace orvane {

/// A vector of four lanes (elements): four samples of one channel. GCC and Clang support it on every processor.
using FourLanes [[gnu::vector_size(16)]] = float;
/// A vector of eight lanes (elements): four samples of each of two channels, for processors with 256-bit registers.
using EightLanes [[gnu::vector_size(32)]] = float;

/// Updates the running mean square and the maximum magnitude of each lane with one sample, in single precision. All
/// code that meters contiguous samples uses this function, so that all use the same arithmetic. Real-time safe.
template <typename Lanes>
[[gnu::always_inline]] inline void meterLanes(const Lanes& samples, Lanes& meanSquare, Lanes& maxima) {
  constexpr float smoothing = 0.11470700055360794F;  // 1 - (1 - 0.03)^4: 0.03 a sample, over four samples
  static_assert(std::bit_cast<std::uint32_t>(smoothing) == 0x3DEAEB81);
  meanSquare += (samples * samples - meanSquare) * smoothing;

  using Bits [[gnu::vector_size(sizeof(Lanes))]] = std::int32_t;
  Bits bits;
  std::memcpy(&bits, &samples, sizeof bits);
  bits &= 0x7FFFFFFF;
  Lanes magnitudes;
  std::memcpy(&magnitudes, &bits, sizeof bits);
  // With this order of operands, not-a-number leaves the maximum unchanged, as in the scalar loop.
  maxima = magnitudes > maxima ? magnitudes : maxima;
}

}  // namespace orvane
