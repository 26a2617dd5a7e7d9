// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

#include "platform/host/audio/HubClient.h"
#include "platform/host/convert/EdgeFormat.h"

namespace orvane::host {

/// A counter of the frames missing between the slices (callback blocks) that a client receives, so that the client's
/// time stamps can skip them. Not thread-safe; real-time safe.
class SliceGaps {
 public:
  void accept(const HubSlice& slice) {
    if (mNext && slice.firstFrame > *mNext) mMissing += slice.firstFrame - *mNext;
    mNext = slice.firstFrame + slice.frames;
  }

  /// Returns the number of frames missing so far, at the client's rate.
  std::uint64_t missing(const EdgeFormat& hardware, const EdgeFormat& client) const {
    if (mMissing == 0) return 0;
    return static_cast<std::uint64_t>(
        std::llround(static_cast<double>(mMissing) * client.sampleRate / hardware.sampleRate));
  }

 private:
  std::optional<std::uint64_t> mNext;  ///< First frame of the next slice if no frames are missing.
  std::uint64_t mMissing = 0;          ///< In hardware frames.
};

}  // namespace orvane::host
