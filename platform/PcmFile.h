// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/Object.h"
#include "platform/PlatformError.h"
#include "platform/StreamFormat.h"

namespace orvane::platform {

/// A block of captured samples. Valid during the call that receives it.
class ORVANE_EXPORT PcmBuffer {
 public:
  virtual ~PcmBuffer() = default;

  /// Returns the format: a `StreamFormat::standard`.
  virtual const StreamFormat& format() const = 0;
  virtual std::uint32_t frames() const = 0;
  /// Returns the samples: for each channel an array of `frames()` samples.
  virtual std::span<const float* const> planes() const = 0;
  /// Returns the average power of each channel in decibels: 10 times the common logarithm of the mean of the squared
  /// samples. A square wave of full scale has 0 dB, a sine of full scale -3.01 dB. The least value is -160 dB, which
  /// silence has; not-a-number counts as silence.
  ///
  /// The power of a tap's last buffer before a stop, which may be as short as one frame, is measured over 64 frames at
  /// least, or the tap's frames if they are fewer: frames before it in the same run are included. A zero crossing is
  /// therefore not taken for silence.
  virtual std::vector<double> averagePowerPerChannel() const = 0;
};

/// A sound file that a graph reads or writes; see `GraphService`. The file is complete when the object is released.
///
/// Thread-safe; not real-time safe. Operations return `std::nullopt` on success. A failure is returned and kept as the
/// host's last refusal, but not logged: the caller knows how much it matters.
class ORVANE_EXPORT PcmFile : public Object {
 public:
  /// Returns the format of the samples that are exchanged: the `StreamFormat::standard` of the file's rate and
  /// channels.
  virtual StreamFormat processingFormat() const = 0;

  /// Reads up to `frames` frames from frame `first` on into the planes, one array for each channel, and sets `read` to
  /// their number: 0 at the end of the file. Reading is fastest in order. Fails with `wrongState` for a file that is
  /// being written, and with `invalidFile` or `ioFailure` if the file cannot be decoded to the end that it declares.
  virtual std::optional<PlatformError> read(std::uint64_t first, std::uint32_t frames, std::span<float* const> planes,
                                            std::uint32_t& read) = 0;
  /// Appends a buffer. The file can be read by others, this buffer included, when the call returns. Fails with
  /// `wrongState` for a file that is being read or was taken over by another recording, `unsupportedFormat` if rate or
  /// channels are not those of the file, and with the file-system statuses of `SoundFileService`; whole frames that
  /// could be written stay in the file.
  virtual std::optional<PlatformError> write(const PcmBuffer& buffer) = 0;
};

}  // namespace orvane::platform
