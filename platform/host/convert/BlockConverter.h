// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/PlanarFifo.h"

namespace orvane::host {

/// A converter of channel count and rate for whole recordings, away from the device callback. Channels follow
/// `applyChannelRule`. Rates are converted by soxr (high quality), whose delay is removed: frame k of the output is the
/// source at time k / output rate, and n input frames become n times the ratio of the rates, rounded up.
///
/// Not thread-safe; not real-time safe.
class BlockConverter {
 public:
  /// Throws `std::runtime_error` if soxr refuses the rates.
  BlockConverter(EdgeFormat from, EdgeFormat to);
  ~BlockConverter();

  /// Converts `frames` frames of the planes and appends the result to `output`, which has the channels of `to`.
  void convert(std::span<const float* const> planes, std::size_t frames, PlanarFifo& output);
  /// Appends the frames that are still in the converter. The next call of `convert` starts a new recording.
  void finish(PlanarFifo& output);

  /// Returns the output rate divided by the input rate.
  double ratio() const { return mTo.sampleRate / mFrom.sampleRate; }

 private:
  struct Library;

  std::size_t resample(const float* const* planes, std::size_t frames, PlanarFifo& output, std::size_t room);

  EdgeFormat mFrom;
  EdgeFormat mTo;
  std::unique_ptr<Library> mLibrary;  ///< Null if the rates are equal.
  PlanarFifo mMapped;
  std::uint64_t mTaken = 0;
  std::uint64_t mMade = 0;
};

}  // namespace orvane::host
