// SPDX-License-Identifier: MIT

// Compares the tone's sine with the exact sine, for every float of a range.
//
//   EverySine FIRST LAST      bits of the first and the last float, hexadecimal
//
// The reference is computed in the extended precision of x86-64 (64 bits, with an error of one or two units in the last
// place). If the result is so close to the midpoint of two floats that an error in its last twenty bits could change
// the rounding, it is computed again in binary128 (113 bits), which is precise enough for every float.

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "iounit/dsp/Sine.h"

/// The 113-bit sine of libquadmath. It is declared here because only GCC finds the library's header.
extern "C" __float128 sinq(__float128 angle);

namespace {

using orvane::RegisterWidth;

std::int32_t bitsOf(float value) {
  return std::bit_cast<std::int32_t>(value);
}

float exactSine(float angle) {
  const auto wide = std::sin(static_cast<long double>(angle));
  const auto rounded = static_cast<float>(wide);
  for (const std::int32_t step : {-1, 1}) {
    const long double middle = (static_cast<long double>(rounded) + std::bit_cast<float>(bitsOf(rounded) + step)) / 2;
    if (rounded != 0.0F && std::fabs(wide - middle) < std::fabs(wide) * 0x1p-43L)
      return static_cast<float>(sinq(static_cast<__float128>(angle)));
  }
  return rounded;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3) return 2;
  const std::uint64_t first = std::strtoull(arguments[1], nullptr, 16);
  const std::uint64_t end = std::strtoull(arguments[2], nullptr, 16) + 1;
  constexpr std::uint64_t blockFloats = 1 << 16;
  // `wrong` counts sines that are not correctly rounded, or that differ between register widths or between signs; `far`
  // counts sines that differ from the C library's by more than one unit in the last place.
  unsigned long long wrong = 0, far = 0;
#pragma omp parallel for schedule(dynamic) reduction(+ : wrong, far)
  for (std::uint64_t block = first; block < end; block += blockFloats) {
    std::vector<float> angles;
    for (std::uint64_t bits = block; bits < block + blockFloats && bits < end; ++bits)
      angles.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    std::vector<std::vector<float>> several(angles.back() <= orvane::oneTurn ? 2 : 0, angles);
    for (std::vector<float>& sines : several)
      orvane::replaceBySines(sines, 1.0F, &sines == &several[0] ? RegisterWidth::bits128 : orvane::widestRegisters());
    for (std::size_t i = 0; i < angles.size(); ++i) {
      const float exact = exactSine(angles[i]), sine = orvane::sineOf(angles[i]);
      bool right = bitsOf(sine) == bitsOf(exact) && bitsOf(orvane::sineOf(-angles[i])) == bitsOf(-exact);
      for (const std::vector<float>& sines : several) right = right && bitsOf(sines[i]) == bitsOf(exact);
      if (!right) std::printf("sine of %a: %a, which should be %a\n", angles[i], sine, exact);
      wrong += right ? 0 : 1;
      far += std::abs(bitsOf(std::sin(angles[i])) - bitsOf(exact)) > 1 ? 1 : 0;
    }
  }
  std::printf("%llu floats from bits %s to %s: %llu wrong, %llu more than one unit from the C library's sine\n",
              0ULL + end - first, arguments[1], arguments[2], wrong, far);
  return wrong == 0 && far == 0 ? 0 : 1;
}
