// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "platform/ChannelLayout.h"
#include "platform/Export.h"
#include "platform/StreamDescription.h"

namespace orvane::platform {

/// The settings of a new sound file: the part of a format that does not depend on the layout in memory.
struct FormatSettings {
  std::uint32_t formatID = linearPcmFormatID;
  double sampleRate = 0;  ///< Hertz.
  std::uint32_t channels = 0;
  std::uint32_t bitsPerChannel = 0;
  bool isFloat = false;

  bool operator==(const FormatSettings&) const = default;
};

/// A stream description with an optional channel layout. A plain value. Any description is accepted, even an
/// inconsistent one. Only `sampleRate`, `channelCount`, `isInterleaved`, `description` and `layout` are real-time safe.
class ORVANE_EXPORT StreamFormat {
 public:
  /// The common sample formats; see `common`.
  enum class Common { none = 0, float32 = 1, float64 = 2, int16 = 3, int32 = 4 };

  /// Creates a format without a layout. All fields of its description are 0.
  StreamFormat() = default;
  /// Creates a format from a description. For 3 to 1024 channels the layout has the tag
  /// `ChannelLayout::discreteInOrder` and the labels 1, 2, ...; for other channel counts there is no layout.
  explicit StreamFormat(const StreamDescription& description);
  /// Creates a format from a description and a layout. Does not check whether the layout matches the channel count.
  StreamFormat(const StreamDescription& description, ChannelLayout layout);

  /// Returns the format in which units exchange samples: packed 32-bit float linear PCM in native byte order, one
  /// buffer per channel. `sampleRate` is in hertz.
  static StreamFormat standard(double sampleRate, std::uint32_t channelCount);
  /// Returns a packed linear PCM format in native byte order. `sampleRate` is in hertz; `bitsPerChannel` must be a
  /// multiple of 8; `kind` must be `format_flag::isFloat`, `format_flag::signedInteger`, or 0 for unsigned integers.
  static StreamFormat linearPcm(double sampleRate, std::uint32_t channelCount, std::uint32_t bitsPerChannel,
                                std::uint32_t kind, bool interleaved);

  double sampleRate() const { return mDescription.sampleRate; }  ///< Hertz.
  std::uint32_t channelCount() const { return mDescription.channelsPerFrame; }
  bool isInterleaved() const;
  const StreamDescription& description() const { return mDescription; }
  const std::optional<ChannelLayout>& layout() const { return mLayout; }

  /// Returns the settings with which a file holds samples of this format.
  FormatSettings settings() const;

  /// Returns which common format this is: packed linear PCM in native byte order, one frame per packet, with 32-bit or
  /// 64-bit float or 16-bit or 32-bit signed integer samples, interleaved or not. All fields of the description must
  /// match; otherwise, and for 0 channels, returns `none`.
  Common common() const;

  bool operator==(const StreamFormat&) const = default;

 private:
  StreamDescription mDescription;
  std::optional<ChannelLayout> mLayout;
};

}  // namespace orvane::platform
