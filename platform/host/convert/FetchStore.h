// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/host/audio/AlignedSamples.h"

namespace orvane::host {

/// Converted sound that a client has not fetched yet. On underflow, prepends silence plus 16 frames of slack, because
/// the slices of two rates whose ratio is not a whole number differ by a frame or two. So an underflow happens at the
/// first fetches only, and the delay is constant from then on.
///
/// Allocated by the constructor and never again; everything else is real-time safe.
class FetchStore {
 public:
  explicit FetchStore(std::uint32_t channels);

  /// The samples in store. New ones are added after the first `frames`, at most `roomBefore(fetched)` of them before a
  /// fetch of `fetched` frames.
  AlignedSamples& samples() { return mSamples; }
  std::uint32_t frames() const { return mFrames; }
  std::uint32_t roomBefore(std::uint32_t fetched) const;
  void added(std::uint32_t frames) { mFrames += frames; }

  /// Moves the first `frames` frames into `target`.
  void fetch(std::uint32_t frames, AlignedSamples& target);

 private:
  AlignedSamples mSamples;
  std::uint32_t mFrames = 0;
};

}  // namespace orvane::host
