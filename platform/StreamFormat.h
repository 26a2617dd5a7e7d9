#pragma once

#include <bit>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/ChannelLayout.h"
#include "platform/StreamDescription.h"

namespace orvane::platform {

/// A stream description that can be asked what it amounts to, with the layout of its channels. A plain value.
class StreamFormat {
 public:
  /// The sample formats that most code can take as they are.
  enum class Common { none = 0, float32 = 1, float64 = 2, int16 = 3, int32 = 4 };

  StreamFormat() = default;
  /// Wraps a description. A stream of more than two channels says nothing about where they belong, so it is given the
  /// layout "discrete, in order", labelled from 1; one or two channels are taken as mono and stereo and carry none.
  explicit StreamFormat(const StreamDescription& description)
      : mDescription(description), mLayout(discreteLayout(description.channelsPerFrame)) {}
  /// Wraps a description with a layout of the caller's, whatever its channel count.
  StreamFormat(const StreamDescription& description, ChannelLayout layout)
      : mDescription(description), mLayout(std::move(layout)) {}

  /// The format in which audio units exchange samples: 32-bit float, one buffer a channel.
  static StreamFormat standard(double sampleRate, std::uint32_t channelCount) {
    return linearPcm(sampleRate, channelCount, 32, format_flag::isFloat, false);
  }
  /// Packed linear PCM in the machine's byte order; `kind` is `format_flag::isFloat`, `signedInteger` or 0 (unsigned).
  static StreamFormat linearPcm(double sampleRate, std::uint32_t channelCount, std::uint32_t bitsPerChannel,
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

  double sampleRate() const { return mDescription.sampleRate; }
  std::uint32_t channelCount() const { return mDescription.channelsPerFrame; }
  bool isInterleaved() const { return (mDescription.formatFlags & format_flag::nonInterleaved) == 0; }
  const StreamDescription& description() const { return mDescription; }
  const std::optional<ChannelLayout>& layout() const { return mLayout; }

  /// Which common format this is: linear PCM, packed, in the machine's byte order, one frame a packet, 32- or 64-bit
  /// float or 16- or 32-bit signed integer, interleaved or not. Anything else, one odd field included, is none.
  Common common() const {
    const std::uint32_t bits = mDescription.bitsPerChannel;
    const auto is = [this, bits](std::uint32_t kind, std::uint32_t width) {
      return bits == width &&
             mDescription == linearPcm(sampleRate(), channelCount(), width, kind, isInterleaved()).mDescription;
    };
    if (channelCount() == 0) return Common::none;
    if (is(format_flag::isFloat, 32)) return Common::float32;
    if (is(format_flag::isFloat, 64)) return Common::float64;
    if (is(format_flag::signedInteger, 16)) return Common::int16;
    if (is(format_flag::signedInteger, 32)) return Common::int32;
    return Common::none;
  }

  bool operator==(const StreamFormat&) const = default;

 private:
  static constexpr std::uint32_t nativeByteOrder = std::endian::native == std::endian::big ? format_flag::bigEndian : 0;

  static std::optional<ChannelLayout> discreteLayout(std::uint32_t channelCount) {
    // No real stream has more channels than this; a wrong description must not make us build a huge layout.
    constexpr std::uint32_t mostChannels = 1024;
    if (channelCount <= 2 || channelCount > mostChannels) return std::nullopt;
    ChannelLayout layout;
    layout.tag = ChannelLayout::discreteInOrder | channelCount;
    for (std::uint32_t label = 1; label <= channelCount; ++label) layout.descriptions.push_back({.label = label});
    return layout;
  }

  StreamDescription mDescription;
  std::optional<ChannelLayout> mLayout;
};

}  // namespace orvane::platform
