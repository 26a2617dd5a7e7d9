// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/host/audio/AlignedSamples.h"

namespace orvane::host {

/// A buffer of converted samples that a client has not fetched yet. On underflow it prepends the missing frames as
/// silence, plus 16 frames of slack, because the lengths of converted blocks vary by a frame or two if the ratio of the
/// rates is not an integer. Underflows therefore occur at the first fetches only, and the delay is constant afterwards.
///
/// Not thread-safe. The constructor allocates; all other operations are real-time safe.
class FetchStore {
 public:
  explicit FetchStore(std::uint32_t channels);

  /// Returns the stored samples. To append, the caller writes new samples after the first `frames()` frames and then
  /// calls `added`.
  AlignedSamples& samples() { return mSamples; }
  /// Returns the number of stored frames.
  std::uint32_t frames() const { return mFrames; }
  /// Returns the maximum number of frames that may be appended before a fetch of `fetched` frames.
  std::uint32_t roomBefore(std::uint32_t fetched) const;
  /// Adds `frames` frames, which the caller has written to `samples()`.
  void added(std::uint32_t frames) { mFrames += frames; }

  /// Prepends silence if fewer than `frames` frames are stored, then moves the first `frames` frames to `target`.
  void fetch(std::uint32_t frames, AlignedSamples& target);

 private:
  AlignedSamples mSamples;
  std::uint32_t mFrames = 0;
};

}  // namespace orvane::host
