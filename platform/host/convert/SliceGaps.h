// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

#include "platform/host/audio/HubClient.h"
#include "platform/host/convert/EdgeFormat.h"

namespace orvane::host {

/// Counts the frames that are missing between the slices that a client is given, so that its time stamps jump where the
/// sound does. Real-time safe.
class SliceGaps {
 public:
  void accept(const HubSlice& slice) {
    if (mNext && slice.firstFrame > *mNext) mMissing += slice.firstFrame - *mNext;
    mNext = slice.firstFrame + slice.frames;
  }

  /// Frames missing so far, in frames of the client.
  std::uint64_t missing(const EdgeFormat& hardware, const EdgeFormat& client) const {
    if (mMissing == 0) return 0;
    return static_cast<std::uint64_t>(
        std::llround(static_cast<double>(mMissing) * client.sampleRate / hardware.sampleRate));
  }

 private:
  std::optional<std::uint64_t> mNext;  ///< Where the next slice begins unless frames are missing.
  std::uint64_t mMissing = 0;          ///< Frames of the hardware.
};

}  // namespace orvane::host
