// SPDX-License-Identifier: MIT
#include "platform/StreamFormat.h"

#include <bit>
#include <utility>

namespace orvane::platform {

namespace {

constexpr std::uint32_t nativeByteOrder = std::endian::native == std::endian::big ? format_flag::bigEndian : 0;

std::optional<ChannelLayout> discreteLayout(std::uint32_t channelCount) {
  // More channels mean an invalid description, for which no huge layout is built.
  constexpr std::uint32_t maxChannels = 1024;
  if (channelCount <= 2 || channelCount > maxChannels) return std::nullopt;
  ChannelLayout layout;
  layout.tag = ChannelLayout::discreteInOrder | channelCount;
  for (std::uint32_t label = 1; label <= channelCount; ++label) layout.descriptions.push_back({.label = label});
  return layout;
}

}  // namespace

StreamFormat::StreamFormat(const StreamDescription& description)
    : mDescription(description), mLayout(discreteLayout(description.channelsPerFrame)) {}

StreamFormat::StreamFormat(const StreamDescription& description, ChannelLayout layout)
    : mDescription(description), mLayout(std::move(layout)) {}

StreamFormat StreamFormat::standard(double sampleRate, std::uint32_t channelCount) {
  return linearPcm(sampleRate, channelCount, 32, format_flag::isFloat, false);
}

StreamFormat StreamFormat::linearPcm(double sampleRate, std::uint32_t channelCount, std::uint32_t bitsPerChannel,
                                     std::uint32_t kind, bool interleaved) {
  const std::uint32_t frame = bitsPerChannel / 8 * (interleaved ? channelCount : 1);
  return StreamFormat(
      {.sampleRate = sampleRate,
       .formatID = linearPcmFormatID,
       .formatFlags = kind | format_flag::packed | nativeByteOrder | (interleaved ? 0 : format_flag::nonInterleaved),
       .bytesPerPacket = frame,
       .framesPerPacket = 1,
       .bytesPerFrame = frame,
       .channelsPerFrame = channelCount,
       .bitsPerChannel = bitsPerChannel});
}

bool StreamFormat::isInterleaved() const {
  return (mDescription.formatFlags & format_flag::nonInterleaved) == 0;
}

FormatSettings StreamFormat::settings() const {
  return {.formatID = mDescription.formatID,
          .sampleRate = mDescription.sampleRate,
          .channels = mDescription.channelsPerFrame,
          .bitsPerChannel = mDescription.bitsPerChannel,
          .isFloat = (mDescription.formatFlags & format_flag::isFloat) != 0};
}

StreamFormat::Common StreamFormat::common() const {
  const auto is = [this](std::uint32_t kind, std::uint32_t width) {
    return mDescription == linearPcm(sampleRate(), channelCount(), width, kind, isInterleaved()).mDescription;
  };
  if (channelCount() == 0) return Common::none;
  if (is(format_flag::isFloat, 32)) return Common::float32;
  if (is(format_flag::isFloat, 64)) return Common::float64;
  if (is(format_flag::signedInteger, 16)) return Common::int16;
  if (is(format_flag::signedInteger, 32)) return Common::int32;
  return Common::none;
}

}  // namespace orvane::platform
