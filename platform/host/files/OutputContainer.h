// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "platform/Failure.h"
#include "platform/host/audio/SliceQueue.h"

namespace orvane::host {

/// The sound of a file.
struct SoundShape {
  double sampleRate = 0;       ///< Hertz.
  std::uint32_t channels = 0;  ///< At least one.
};

/// A sound file of one type that is being written: encodes sound and keeps the file's headers. One thread at a time;
/// not real-time safe. A call that fails says why.
class OutputContainer {
 public:
  virtual ~OutputContainer() = default;

  virtual SoundShape shape() const = 0;

  /// Erases the file and writes headers of a file without sound. Called first, once. The descriptor is open to write
  /// and outlives the other calls.
  virtual std::optional<platform::Failure> begin(int descriptor) = 0;
  /// Appends a block of at most `SliceQueue::maxBlockFrames` frames. After a failure the file ends with the last whole
  /// frame that found room, and only `finish` may follow.
  virtual std::optional<platform::Failure> write(const SliceQueue::Block& block) = 0;
  /// Updates the headers, so that other programs find all that was written so far.
  virtual std::optional<platform::Failure> refreshHeader() = 0;
  /// Completes the file. Called last, once.
  virtual std::optional<platform::Failure> finish() = 0;

  /// Frames in the file.
  virtual std::uint64_t frames() const = 0;
  /// The type of the container as it stands in the file, a four-character code: 'WAVE', 'RF64', ...
  virtual std::uint32_t type() const = 0;
};

}  // namespace orvane::host
