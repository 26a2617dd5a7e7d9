// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace orvane {

/// Four samples of one channel, on every processor that GCC and Clang know.
using FourLanes [[gnu::vector_size(16)]] = float;
/// Four samples each of two channels, for processors with registers of that width.
using EightLanes [[gnu::vector_size(32)]] = float;

/// One step of the running mean square and the maximum of each lane, in single precision. Everything that meters
/// contiguous samples goes through here, so that the arithmetic stands once.
template <typename Lanes>
[[gnu::always_inline]] inline void meterLanes(const Lanes& samples, Lanes& meanSquare, Lanes& maxima) {
  constexpr float smoothing = 0.11470700055360794F;  // what 0.03 a sample comes to in four
  static_assert(std::bit_cast<std::uint32_t>(smoothing) == 0x3DEAEB81);
  meanSquare += (samples * samples - meanSquare) * smoothing;

  using Bits [[gnu::vector_size(sizeof(Lanes))]] = std::int32_t;
  Bits bits;
  std::memcpy(&bits, &samples, sizeof bits);
  bits &= 0x7FFFFFFF;
  Lanes magnitudes;
  std::memcpy(&magnitudes, &bits, sizeof bits);
  // In this order of operands a sample that is not a number leaves the maximum alone, as it does one by one.
  maxima = magnitudes > maxima ? magnitudes : maxima;
}

}  // namespace orvane
