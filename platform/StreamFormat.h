// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "platform/ChannelLayout.h"
#include "platform/Export.h"
#include "platform/StreamDescription.h"

namespace orvane::platform {

/// A stream description with an optional channel layout. A plain value. Not real-time safe, except `sampleRate`,
/// `channelCount`, `isInterleaved`, `description` and `layout`. Any description is accepted, also an inconsistent one.
class ORVANE_EXPORT StreamFormat {
 public:
  /// The common sample formats; see `common`.
  enum class Common { none = 0, float32 = 1, float64 = 2, int16 = 3, int32 = 4 };

  /// Makes a format whose description is all 0, without a layout.
  StreamFormat() = default;
  /// Wraps a description. For 3 to 1024 channels the layout is "discrete, in order", with labels from 1 on; for other
  /// channel counts there is none.
  explicit StreamFormat(const StreamDescription& description);
  /// Wraps a description with a given layout, which is not checked against the channel count.
  StreamFormat(const StreamDescription& description, ChannelLayout layout);

  /// Makes the format in which units exchange samples: packed 32-bit float linear PCM in native byte order, one buffer
  /// a channel. The rate is in hertz.
  static StreamFormat standard(double sampleRate, std::uint32_t channelCount);
  /// Makes packed linear PCM in native byte order. The rate is in hertz; `bitsPerChannel` is a multiple of 8; `kind` is
  /// `format_flag::isFloat`, `format_flag::signedInteger` or 0 for unsigned integers.
  static StreamFormat linearPcm(double sampleRate, std::uint32_t channelCount, std::uint32_t bitsPerChannel,
                                std::uint32_t kind, bool interleaved);

  double sampleRate() const { return mDescription.sampleRate; }  ///< Hertz.
  std::uint32_t channelCount() const { return mDescription.channelsPerFrame; }
  bool isInterleaved() const;
  const StreamDescription& description() const { return mDescription; }
  const std::optional<ChannelLayout>& layout() const { return mLayout; }

  /// Returns the common format whose description equals this one's in every field: packed linear PCM in native byte
  /// order, one frame a packet, 32-bit or 64-bit float or 16-bit or 32-bit signed integer, interleaved or not. Returns
  /// `none` for any other format and for one without channels.
  Common common() const;

  bool operator==(const StreamFormat&) const = default;

 private:
  StreamDescription mDescription;
  std::optional<ChannelLayout> mLayout;
};

}  // namespace orvane::platform
