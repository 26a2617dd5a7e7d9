// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "platform/ChannelLayout.h"
#include "platform/Export.h"
#include "platform/StreamDescription.h"

namespace orvane::platform {

/// A stream description with the layout of its channels, and what it amounts to. A plain value; not real-time safe.
class ORVANE_EXPORT StreamFormat {
 public:
  /// The sample formats that most code takes as they are.
  enum class Common { none = 0, float32 = 1, float64 = 2, int16 = 3, int32 = 4 };

  /// An empty description: rate 0, no channels.
  StreamFormat() = default;
  /// Wraps a description. A stream of 3 to 1024 channels is given the layout "discrete, in order", labelled from 1, as
  /// its description does not say where they belong; mono and stereo carry no layout.
  explicit StreamFormat(const StreamDescription& description);
  /// Wraps a description with a layout of the caller's, whatever its channel count.
  StreamFormat(const StreamDescription& description, ChannelLayout layout);

  /// The format in which audio units exchange samples: 32-bit float, one buffer a channel.
  static StreamFormat standard(double sampleRate, std::uint32_t channelCount);
  /// Packed linear PCM in the machine's byte order; `kind` is `format_flag::isFloat`, `signedInteger` or 0 (unsigned).
  static StreamFormat linearPcm(double sampleRate, std::uint32_t channelCount, std::uint32_t bitsPerChannel,
                                std::uint32_t kind, bool interleaved);

  double sampleRate() const { return mDescription.sampleRate; }  ///< Hertz.
  std::uint32_t channelCount() const { return mDescription.channelsPerFrame; }
  bool isInterleaved() const;
  const StreamDescription& description() const { return mDescription; }
  const std::optional<ChannelLayout>& layout() const { return mLayout; }

  /// Which common format this is: linear PCM, packed, in the machine's byte order, one frame a packet, 32- or 64-bit
  /// float or 16- or 32-bit signed integer, interleaved or not. `none` for anything else, for a format that differs in
  /// a single field, and without channels.
  Common common() const;

  bool operator==(const StreamFormat&) const = default;

 private:
  StreamDescription mDescription;
  std::optional<ChannelLayout> mLayout;
};

}  // namespace orvane::platform
