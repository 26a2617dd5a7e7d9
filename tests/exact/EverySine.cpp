// Holds the tone's sine against the exact sine, for every float of a range.
//
//   EverySine FIRST LAST      bits of the first and the last float, hexadecimal
//
// The reference is the extended precision of x86-64 (64 bits, an error of one or two units in the last). Where that is
// so near to the middle between two floats that it could round the wrong way, even if it were wrong in its last twenty
// bits, binary128 (113 bits) decides; no float's sine comes nearer to a middle than that could tell.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "iounit/Sine.h"

/// Of libquadmath, whose header only GCC finds.
extern "C" __float128 sinq(__float128 angle);

namespace {

using orvane::RegisterWidth;

struct Findings {
  std::uint64_t floats = 0;
  std::uint64_t close = 0;        ///< Decided by binary128.
  std::uint64_t wrong = 0;        ///< Not correctly rounded, or not the same at all widths or with the other sign.
  std::uint64_t cLibraryOff = 0;  ///< The C library's own sine differs by one unit in the last place.
  std::uint64_t cLibraryFar = 0;  ///< By more.
};

std::uint32_t bitsOf(float value) {
  return std::bit_cast<std::uint32_t>(value);
}
float floatOf(std::uint32_t bits) {
  return std::bit_cast<float>(bits);
}

float exactSine(float angle, Findings& findings) {
  const auto wide = std::sin(static_cast<long double>(angle));
  const auto rounded = static_cast<float>(wide);
  const long double above = (static_cast<long double>(rounded) + floatOf(bitsOf(rounded) + 1)) / 2;
  const long double below = (static_cast<long double>(rounded) + floatOf(bitsOf(rounded) - 1)) / 2;
  if (rounded != 0.0F && std::fmin(std::fabs(wide - above), std::fabs(wide - below)) < std::fabs(wide) * 0x1p-43L) {
    ++findings.close;
    return static_cast<float>(sinq(static_cast<__float128>(angle)));
  }
  return rounded;
}

void check(const std::vector<float>& angles, Findings& findings) {
  std::vector<std::vector<float>> several;
  if (angles.back() <= orvane::kOneTurn) {
    for (const RegisterWidth width : {RegisterWidth::bits128, orvane::widestRegisters()}) {
      several.push_back(angles);
      orvane::replaceBySines(several.back(), 1.0F, width);
    }
  }
  for (std::size_t i = 0; i < angles.size(); ++i) {
    const float exact = exactSine(angles[i], findings);
    const float sine = orvane::sineOf(angles[i]);
    bool right = bitsOf(sine) == bitsOf(exact) && bitsOf(orvane::sineOf(-angles[i])) == bitsOf(-exact);
    for (const std::vector<float>& sines : several) right = right && bitsOf(sines[i]) == bitsOf(exact);
    if (!right) {
      ++findings.wrong;
      std::printf("sine of %a: %a, which should be %a\n", angles[i], sine, exact);
    }
    const auto distance =
        std::abs(std::bit_cast<std::int32_t>(std::sin(angles[i])) - std::bit_cast<std::int32_t>(exact));
    if (distance == 1) ++findings.cLibraryOff;
    if (distance > 1) ++findings.cLibraryFar;
    ++findings.floats;
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3) return 2;
  const std::uint64_t first = std::strtoull(arguments[1], nullptr, 16);
  const std::uint64_t end = std::strtoull(arguments[2], nullptr, 16) + 1;
  constexpr std::uint64_t kBlock = 1 << 16;
  const unsigned workers = std::max(1U, std::thread::hardware_concurrency());
  Findings all;
  std::mutex mutex;
  std::vector<std::thread> threads;
  for (unsigned worker = 0; worker < workers; ++worker) {
    threads.emplace_back([&, worker] {
      Findings mine;
      std::vector<float> angles;
      for (std::uint64_t block = first + worker * kBlock; block < end; block += workers * kBlock) {
        angles.clear();
        for (std::uint64_t bits = block; bits < std::min(block + kBlock, end); ++bits) {
          angles.push_back(floatOf(static_cast<std::uint32_t>(bits)));
        }
        check(angles, mine);
      }
      const std::lock_guard lock(mutex);
      all.floats += mine.floats;
      all.close += mine.close;
      all.wrong += mine.wrong;
      all.cLibraryOff += mine.cLibraryOff;
      all.cLibraryFar += mine.cLibraryFar;
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::printf(
      "%llu floats from %a to %a: %llu wrong, %llu so close to a middle that binary128 decided;\n"
      "the C library's sine is one unit in the last place off for %llu, more for %llu\n",
      static_cast<unsigned long long>(all.floats), floatOf(static_cast<std::uint32_t>(first)),
      floatOf(static_cast<std::uint32_t>(end - 1)), static_cast<unsigned long long>(all.wrong),
      static_cast<unsigned long long>(all.close), static_cast<unsigned long long>(all.cLibraryOff),
      static_cast<unsigned long long>(all.cLibraryFar));
  return all.wrong == 0 && all.cLibraryFar == 0 ? 0 : 1;
}
