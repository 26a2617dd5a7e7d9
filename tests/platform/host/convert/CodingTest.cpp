// SPDX-License-Identifier: MIT
#include <cstring>
#include <random>

#include "platform/SoundFileService.h"
#include "platform/StreamFormat.h"
#include "platform/host/convert/PacketCodec.h"
#include "platform/host/convert/PcmCoding.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace host;
using platform::StreamDescription;
namespace flag = platform::format_flag;

/// Returns random samples, some of them special.
std::vector<float> samples(std::size_t count) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> values(-1.1F, 1.1F);
  std::vector<float> all = {0, -0.0F, 1, -1, 2, -2, 1e30F, -1e30F, NAN, HUGE_VALF, -HUGE_VALF, 0.5F / 128, -1.5F / 128};
  while (all.size() < count) all.push_back(values(random));
  return all;
}

/// Returns the bytes of a container that holds `number`, by a plain formula.
std::vector<std::byte> bytesOf(std::int64_t number, std::uint32_t bytes, bool isBigEndian) {
  std::vector<std::byte> result;
  for (std::uint32_t i = 0; i < bytes; ++i) result.push_back(static_cast<std::byte>(number >> (8 * i)));
  if (isBigEndian) std::ranges::reverse(result);
  return result;
}

TEST(PcmCoding, IsTheFormulaForEveryWidthOrderAndAlignment) {
  const std::vector<float> input = samples(600);
  const std::size_t frames = input.size() / 2;
  const float* const planes[] = {input.data(), input.data() + frames};
  std::vector<float> left(frames), right(frames);
  float* const outputs[] = {left.data(), right.data()};
  int formats = 0;
  for (std::uint32_t size = 1; size <= 4; ++size) {
    for (std::uint32_t bits = 1; bits <= 8 * size; ++bits) {
      for (const std::uint32_t flags : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        const bool isSigned = (flags & 1) != 0, isBig = (flags & 2) != 0, isHigh = (flags & 4) != 0;
        const bool isPacked = bits == 8 * size;
        const auto coding = PcmCoding::make({48000, platform::linearPcmFormatID,
                                             (isSigned ? flag::signedInteger : 0) | (isBig ? flag::bigEndian : 0) |
                                                 (isPacked ? flag::packed
                                                  : isHigh ? flag::alignedHigh
                                                           : 0),
                                             2 * size, 1, 2 * size, 2, bits, 0});
        ASSERT_TRUE(coding && coding->frameBytes() == 2 * size && coding->channels() == 2);
        std::vector<std::byte> bytes((frames - 1) * 2 * size);
        coding->encode(planes, 1, static_cast<std::uint32_t>(frames - 1), bytes.data());
        coding->decode(bytes.data(), static_cast<std::uint32_t>(frames - 1), outputs);
        ++formats;
        std::size_t wrong = 0;
        for (std::size_t i = 0; i + 1 < frames; ++i) {
          for (std::size_t channel = 0; channel < 2; ++channel) {
            const double scale = std::pow(2.0, bits - 1), sample = planes[channel][i + 1];
            const double wanted = std::isnan(sample) ? 0 : std::clamp(std::rint(sample * scale), -scale, scale - 1);
            std::int64_t number = static_cast<std::int64_t>(wanted) + (isSigned ? 0 : static_cast<std::int64_t>(scale));
            if (isHigh) number *= std::int64_t{1} << (8 * size - bits);
            const auto made = bytes.begin() + static_cast<std::ptrdiff_t>((2 * i + channel) * size);
            wrong += !std::ranges::equal(bytesOf(number, size, isBig), std::span(made, size));
            wrong += outputs[channel][i] != static_cast<float>(wanted / scale);
          }
        }
        EXPECT_EQ(wrong, 0U) << bits << " bits in " << size << " bytes, flags " << flags;
      }
    }
  }
  EXPECT_EQ(formats, (8 + 16 + 24 + 32) * 8);
  for (const std::uint32_t bits : {32U, 64U}) {
    for (const std::uint32_t order : {0U, flag::bigEndian}) {
      const auto coding = PcmCoding::make({48000, platform::linearPcmFormatID, flag::isFloat | flag::packed | order,
                                           bits / 4, 1, bits / 4, 2, bits, 0});
      ASSERT_TRUE(coding);
      std::vector<std::byte> bytes(frames * bits / 4);
      coding->encode(planes, 0, static_cast<std::uint32_t>(frames), bytes.data());
      std::vector<std::byte> second(bytes.begin() + bits / 8, bytes.begin() + bits / 4);  // The other channel.
      if (order != 0) std::ranges::reverse(second);
      const double wide = planes[1][0];
      EXPECT_EQ(std::memcmp(second.data(), bits == 64 ? static_cast<const void*>(&wide) : planes[1], bits / 8), 0);
      coding->decode(bytes.data(), static_cast<std::uint32_t>(frames), outputs);
      EXPECT_EQ(std::memcmp(left.data(), input.data(), frames * 4) + std::memcmp(right.data(), planes[1], frames * 4),
                0);
    }
  }
}

TEST(PcmCoding, ExistsForTheFormatsOfQueuesOnly) {
  const StreamDescription good =
      platform::StreamFormat::linearPcm(8000, 2, 16, flag::signedInteger, true).description();
  const std::function<void(StreamDescription&)> changes[] = {
      [](auto& each) { each.formatID = 1; },
      [](auto& each) { each.formatFlags |= flag::nonInterleaved; },
      [](auto& each) { each.channelsPerFrame = 0; },
      [](auto& each) { each.channelsPerFrame = 3; },
      [](auto& each) { each.framesPerPacket = 0; },
      [](auto& each) { each.bytesPerPacket = 8; },
      [](auto& each) { each.bitsPerChannel = 0; },
      [](auto& each) { each.bitsPerChannel = 17; },
      [](auto& each) { each.bitsPerChannel = 12; },
      [](auto& each) { each.bytesPerFrame = each.bytesPerPacket = 0; },
      [](auto& each) { each.formatFlags |= flag::isFloat; },
      [](auto& each) { each.bytesPerFrame = each.bytesPerPacket = 10; },
      [](auto& each) {
        each = platform::StreamFormat::linearPcm(8000, 65, 16, flag::signedInteger, true).description();
      }};
  EXPECT_TRUE(PcmCoding::make(good));
  for (const auto& change : changes) {
    StreamDescription wrong = good;
    change(wrong);
    EXPECT_FALSE(PcmCoding::make(wrong)) << &change - changes;
  }
}

TEST(PacketCodecs, RefuseFormatsThatTheyCannotHold) {
  const StreamDescription refused[] = {
      {.sampleRate = 48000, .formatID = 1, .channelsPerFrame = 1},
      {.sampleRate = 0.5, .formatID = platform::flacFormatID, .channelsPerFrame = 1},
      {.sampleRate = 48000, .formatID = platform::flacFormatID, .channelsPerFrame = 9},
      {.sampleRate = 48000, .formatID = platform::flacFormatID, .channelsPerFrame = 1, .bitsPerChannel = 25},
      {.sampleRate = 48000, .formatID = platform::flacFormatID, .framesPerPacket = 15, .channelsPerFrame = 1},
      {.sampleRate = 44100, .formatID = platform::opusFormatID, .channelsPerFrame = 1},
      {.sampleRate = 48000, .formatID = platform::opusFormatID, .channelsPerFrame = 3}};
  for (const StreamDescription& format : refused)
    EXPECT_EQ(makeEncoder(format).failure().status, platform::status::unsupportedFormat) << format.channelsPerFrame;
}

TEST(PacketCodecs, RefuseDamagedPacketsAndCookies) {
  std::mt19937 random(5);
  for (const std::uint32_t id : {platform::flacFormatID, platform::opusFormatID}) {
    auto encoder = makeEncoder({.sampleRate = 48000, .formatID = id, .channelsPerFrame = 2});
    PlanarFifo input(2), output(2);
    for (float* const plane : input.room(20'000))
      std::generate_n(plane, 20'000, [&] { return static_cast<float>(random() % 99) / 999; });
    input.commit(20'000);
    std::deque<EncodedPacket> packets;
    EXPECT_FALSE((*encoder)->encode(input, packets) || (*encoder)->finish(packets));
    auto decoder = makeDecoder((*encoder)->format());
    std::vector<std::byte> cookie = (*encoder)->cookie();
    EXPECT_EQ((*decoder)->decode(packets[0].bytes, 0, output).has_value(), id == platform::flacFormatID) << "no cookie";
    output.clear();
    for (const std::size_t size : {std::size_t{0}, std::size_t{18}, cookie.size() - 1})
      EXPECT_TRUE((*decoder)->setCookie(std::span(cookie).first(size))) << size;
    EXPECT_FALSE((*decoder)->setCookie(cookie));
    if (id == platform::opusFormatID) {
      cookie[9] = std::byte{1};
      EXPECT_TRUE((*decoder)->setCookie(cookie)) << "another channel count";
    }
    EXPECT_TRUE((*decoder)->decode({}, 0, output));
    EXPECT_EQ(output.frames(), 0U);
    if (id == platform::opusFormatID) continue;
    for (std::size_t i = 0; i < 40; ++i) {
      EXPECT_FALSE((*decoder)->setCookie(cookie));
      std::vector<std::byte> damaged = packets[0].bytes;
      damaged[i * damaged.size() / 40] ^= std::byte{0x24};
      EXPECT_TRUE((*decoder)->decode(damaged, 0, output)) << i;
      damaged = packets[0].bytes;
      damaged.resize(i * damaged.size() / 40);
      EXPECT_FALSE((*decoder)->setCookie(cookie));
      EXPECT_TRUE((*decoder)->decode(damaged, 0, output)) << i;
    }
  }
}

}  // namespace
}  // namespace orvane::test
