// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "platform/PlatformError.h"
#include "platform/host/audio/SliceQueue.h"

namespace orvane::host {

/// The sample rate and channel count of a sound file.
struct SoundShape {
  double sampleRate = 0;       ///< Hertz.
  std::uint32_t channels = 0;  ///< Must be at least 1.
};

/// The format-specific part of writing a sound file: encodes samples and maintains the file's headers. Must be called
/// from one thread at a time; not real-time safe. Operations return `std::nullopt` on success, otherwise the failure.
class OutputContainer {
 public:
  virtual ~OutputContainer() = default;

  virtual SoundShape shape() const = 0;

  /// Truncates the file and writes the headers of a file of no frames. Must be called once, before any other operation
  /// except `shape`. The descriptor must be open for writing until after the last call.
  virtual std::optional<platform::Failure> begin(int descriptor) = 0;
  /// Appends a block, which must not exceed `SliceQueue::maxBlockFrames` frames. After a failure the file ends with the
  /// last whole frame that was written, and only `finish` may be called.
  virtual std::optional<platform::Failure> write(const SliceQueue::Block& block) = 0;
  /// Updates the headers to cover all frames written so far.
  virtual std::optional<platform::Failure> refreshHeader() = 0;
  /// Completes the file. Must be called once, as the last operation that writes.
  virtual std::optional<platform::Failure> finish() = 0;

  /// Returns the number of frames in the file.
  virtual std::uint64_t frames() const = 0;
  /// Returns the type of the container as written, a four-character code: 'WAVE' or 'RF64'.
  virtual std::uint32_t type() const = 0;
};

}  // namespace orvane::host
