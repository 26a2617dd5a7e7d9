// SPDX-License-Identifier: MIT
#include "iounit/dsp/Sine.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace orvane {

namespace {

// Constants derived by scripts/derive-sine.
constexpr double perPi = 0x1.45f306dc9c883p-2;
/// The coefficients of the polynomial that approximates sin(pi f), ordered from that of f^15 down to that of f. Only
/// odd powers occur.
constexpr std::array coefficients = {-0x1.61fd75df9a88dp-16, 0x1.e8979f1b4d2c7p-12, -0x1.e30607f00ac85p-8,
                                     0x1.5078320185092p-4,   -0x1.32d2cce0bd1abp-1, 0x1.466bc6774f216p+1,
                                     -0x1.4abbce625bd25p+2,  0x1.921fb54442d17p+1};
/// The binary digits of 1 / pi, starting 32 digits before the point.
constexpr std::array<std::uint32_t, 9> digitsPerPi = {0,          0x517CC1B7, 0x27220A94, 0xFE13ABE8, 0xFA9A6EE0,
                                                      0x6DB14ACC, 0x9E21C820, 0xFF28B1D5, 0xEF5DE2B0};

/// An angle whose sine is so close to the midpoint of two floats that the precision of doubles does not suffice to
/// round it.
struct HardCase {
  float angle, sine;
};
/// All angles that are hard cases.
constexpr std::array hardCases = {HardCase{0x1.33333p+13F, -0x1.63f4bap-2F}, HardCase{0x1.95f654p+44F, -0x1.fcf42ep-1F},
                                  HardCase{0x1.524856p+80F, -0x1.ff5702p-1F}};

using Doubles2 [[gnu::vector_size(16)]] = double;
using Doubles4 [[gnu::vector_size(32)]] = double;

/// The integer type with the bits of a double or of a vector of doubles.
template <typename Real>
struct BitsOf {
  using Type = std::uint64_t;
};
template <>
struct BitsOf<Doubles2> {
  using Type [[gnu::vector_size(16)]] = std::uint64_t;
};
template <>
struct BitsOf<Doubles4> {
  using Type [[gnu::vector_size(32)]] = std::uint64_t;
};

/// Replaces each value, an angle from -1/2 to 1/2 half turns, by its sine. The values are doubles or vectors of
/// doubles. They are processed in parallel, so that their operations overlap.
template <typename Real, std::size_t count>
[[gnu::always_inline]] inline void replaceFractions(Real (&values)[count]) {
  Real squares[count];
  Real sums[count];
#pragma GCC unroll 8
  for (std::size_t i = 0; i < count; ++i) {
    squares[i] = values[i] * values[i];
    sums[i] = squares[i] * coefficients[0] + coefficients[1];
  }
#pragma GCC unroll 8
  for (std::size_t term = 2; term < coefficients.size(); ++term) {
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i) sums[i] = sums[i] * squares[i] + coefficients[term];
  }
#pragma GCC unroll 8
  for (std::size_t i = 0; i < count; ++i) values[i] *= sums[i];
}

/// Replaces each value, an angle in radians from minus one turn to one turn, by its sine.
template <typename Real, std::size_t count>
[[gnu::always_inline]] inline void replaceWithinOneTurn(Real (&values)[count]) {
  using Bits = typename BitsOf<Real>::Type;
  // Adding this number to a number of half turns leaves the nearest integer in the last bits of the sum.
  constexpr double toWhole = 0x1.8p52;
  Real wholes[count];
#pragma GCC unroll 8
  for (std::size_t i = 0; i < count; ++i) {
    const Real halfTurns = values[i] * perPi;
    wholes[i] = halfTurns + toWhole;
    values[i] = halfTurns - (wholes[i] - toWhole);
  }
  replaceFractions(values);
#pragma GCC unroll 8
  for (std::size_t i = 0; i < count; ++i) {
    // An odd number of half turns changes the sign.
    Bits whole;
    Bits sine;
    std::memcpy(&whole, &wholes[i], sizeof whole);
    std::memcpy(&sine, &values[i], sizeof sine);
    sine ^= whole << 63;
    std::memcpy(&values[i], &sine, sizeof sine);
  }
}

/// Reduces an angle of more than one turn by the Payne-Hanek method: returns the angle in half turns minus the nearest
/// integer, and sets `odd` to whether that integer is odd.
double fractionOf(float angle, bool& odd) {
  const auto bits = std::bit_cast<std::uint32_t>(angle);
  const std::uint32_t mantissa = (bits & 0x7FFFFF) | 0x800000;
  const std::uint32_t exponent = (bits >> 23) - 150;  // modulo 2^32: the angle is mantissa times 2^exponent
  // Digits of 1 / pi whose product with the angle is a whole number of turns are skipped. The digits start at weight
  // 2^-exponent, and 128 of them are enough for every float.
  const std::uint32_t place = exponent + 31;
  const std::size_t word = place / 32;
  const std::uint32_t shift = place % 32;
  std::array<std::uint32_t, 4> product{};
  std::uint64_t carry = 0;
  for (std::size_t i = product.size(); i-- > 0;) {
    const std::uint64_t pair = std::uint64_t{digitsPerPi[word + i]} << 32 | digitsPerPi[word + i + 1];
    carry += std::uint64_t{mantissa} * static_cast<std::uint32_t>(pair << shift >> 32);
    product[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  // The product is the number of half turns minus an even number: one bit before the point, 127 after it.
  odd = ((product[0] >> 31) ^ (product[0] >> 30 & 1)) != 0;
  const auto upper = static_cast<std::int32_t>(product[0] << 1 | product[1] >> 31);  // a fraction from -1/2 to 1/2
  const std::uint32_t middle = product[1] << 1 | product[2] >> 31;
  const std::uint32_t lower = product[2] << 1 | product[3] >> 31;
  return upper * 0x1p-32 + (middle * 0x1p-64 + lower * 0x1p-96);
}

float sineBeyondOneTurn(float angle) {
  if (!std::isfinite(angle)) return std::numeric_limits<float>::quiet_NaN();
  const float magnitude = std::fabs(angle);
  for (const HardCase& hard : hardCases) {
    if (magnitude == hard.angle) return std::signbit(angle) ? -hard.sine : hard.sine;
  }
  bool odd = false;
  double value[] = {fractionOf(magnitude, odd)};
  replaceFractions(value);
  return static_cast<float>(odd != std::signbit(angle) ? -value[0] : value[0]);
}

/// The number of registers that are processed in parallel.
constexpr std::size_t registerCount = 8;
constexpr std::size_t maxAtOnce = registerCount * sizeof(Doubles4) / sizeof(double);

/// Replaces each angle by `factor` times its sine, with 128-bit registers. The number of angles must be a multiple of
/// `maxAtOnce`.
void replaceIn128Bits(std::span<float> angles, float factor) {
  using Floats [[gnu::vector_size(8)]] = float;
  for (std::size_t at = 0; at < angles.size(); at += registerCount * 2) {
    Doubles2 values[registerCount];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < registerCount; ++i) {
      Floats narrow;
      std::memcpy(&narrow, &angles[at + i * 2], sizeof narrow);
      values[i] = __builtin_convertvector(narrow, Doubles2);
    }
    replaceWithinOneTurn(values);
#pragma GCC unroll 8
    for (std::size_t i = 0; i < registerCount; ++i) {
      const Floats narrow = __builtin_convertvector(values[i], Floats) * factor;
      std::memcpy(&angles[at + i * 2], &narrow, sizeof narrow);
    }
  }
}

#if defined(__x86_64__)
/// Replaces each angle by `factor` times its sine, with 256-bit registers. The number of angles must be a multiple of
/// `maxAtOnce`. Uses intrinsics, because GCC would otherwise use several instructions for each conversion.
[[gnu::target("avx2")]] void replaceIn256Bits(std::span<float> angles, float factor) {
  for (std::size_t at = 0; at < angles.size(); at += registerCount * 4) {
    Doubles4 values[registerCount];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < registerCount; ++i) values[i] = _mm256_cvtps_pd(_mm_loadu_ps(&angles[at + i * 4]));
    replaceWithinOneTurn(values);
#pragma GCC unroll 8
    for (std::size_t i = 0; i < registerCount; ++i)
      _mm_storeu_ps(&angles[at + i * 4], _mm256_cvtpd_ps(values[i]) * factor);
  }
}
#endif

void replaceMany(std::span<float> angles, float factor, [[maybe_unused]] RegisterWidth width) {
#if defined(__x86_64__)
  if (width == RegisterWidth::bits256) return replaceIn256Bits(angles, factor);
#endif
  replaceIn128Bits(angles, factor);
}

}  // namespace

float sineOf(float angle) {
  if (!(std::fabs(angle) <= oneTurn)) return sineBeyondOneTurn(angle);
  double value[] = {double{angle}};
  replaceWithinOneTurn(value);
  return static_cast<float>(value[0]);
}

void replaceBySines(std::span<float> angles, float factor, RegisterWidth width) {
  const std::size_t many = angles.size() / maxAtOnce * maxAtOnce;
  replaceMany(angles.first(many), factor, width);
  if (many == angles.size()) return;
  std::array<float, maxAtOnce> rest = {};
  std::ranges::copy(angles.subspan(many), rest.begin());
  replaceMany(rest, factor, width);
  std::copy_n(rest.begin(), angles.size() - many, angles.begin() + static_cast<std::ptrdiff_t>(many));
}

}  // namespace orvane
