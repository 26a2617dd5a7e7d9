// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/host/audio/AlignedSamples.h"

namespace orvane::host {

/// A buffer of converted samples that a client has not fetched yet. On underflow, prepends the missing frames as
/// silence, plus 16 frames of slack, because slices at two rates whose ratio is not an integer differ by a frame or
/// two. Underflows therefore happen at the first fetches only, and the delay is constant after that.
///
/// Not thread-safe. The constructor allocates; all other operations are real-time safe.
class FetchStore {
 public:
  explicit FetchStore(std::uint32_t channels);

  /// Returns the stored samples. The caller appends new ones after the first `frames()` and then calls `added`: at most
  /// `roomBefore(fetched)` frames before a fetch of `fetched` frames.
  AlignedSamples& samples() { return mSamples; }
  std::uint32_t frames() const { return mFrames; }
  std::uint32_t roomBefore(std::uint32_t fetched) const;
  void added(std::uint32_t frames) { mFrames += frames; }

  /// Moves the first `frames` frames, after prepending silence if needed, to `target`.
  void fetch(std::uint32_t frames, AlignedSamples& target);

 private:
  AlignedSamples mSamples;
  std::uint32_t mFrames = 0;
};

}  // namespace orvane::host
