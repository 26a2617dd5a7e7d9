// SPDX-License-Identifier: MIT
#include "platform/host/convert/Interleaving.h"

#include <bit>
#include <random>

#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace host;

/// Tests of `deinterleave`. The parameter is a channel count; the counts are chosen so that every code path is used:
/// one channel, two, three, multiples of four, and groups of four that overlap.
class Deinterleave : public testing::TestWithParam<std::uint32_t> {};

TEST_P(Deinterleave, TakesAnyBitsApartAsTheSampleBySampleFormDoes) {
  constexpr std::uint32_t untouched = 0xDEADBEEF;
  const std::uint32_t channels = GetParam();
  std::mt19937 random(channels);
  for (const std::uint32_t frames : {0U, 1U, 3U, 4U, 5U, 63U, 64U, 65U, 131U, 512U}) {
    for (const std::uint32_t first : {0U, 1U, 6U}) {
      std::vector<std::uint32_t> samples(std::size_t{frames} * channels);
      for (std::uint32_t& sample : samples) sample = static_cast<std::uint32_t>(random());
      std::vector<std::vector<std::uint32_t>> planes(channels,
                                                     std::vector<std::uint32_t>(first + frames + 4, untouched));
      std::vector<float*> targets;
      for (auto& plane : planes) targets.push_back(reinterpret_cast<float*>(plane.data()));
      deinterleave(reinterpret_cast<const float*>(samples.data()), targets, first, frames);
      for (std::uint32_t channel = 0; channel < channels; ++channel) {
        for (std::uint32_t at = 0; at < planes[channel].size(); ++at) {
          const bool isInside = at >= first && at < first + frames;
          ASSERT_EQ(planes[channel][at], isInside ? samples[std::size_t{at - first} * channels + channel] : untouched)
              << frames << " frames from " << first << ", channel " << channel << ", frame " << at;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Channels, Deinterleave, testing::Values(1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 61, 64),
                         [](const auto& each) { return std::to_string(each.param); });

}  // namespace
}  // namespace orvane::test
