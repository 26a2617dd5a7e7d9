// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/audio/HubClient.h"
#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/FetchStore.h"
#include "platform/host/convert/RateConverter.h"
#include "platform/host/convert/SliceGaps.h"

namespace orvane::host {

/// The converter of captured audio from the hardware's channel count and rate to those of a client.
///
/// For a client with an input handler: call `accept` with a slice (block of one device callback), then call `next`
/// until it returns false; after each call that returns true, `planes()` has the next part of the converted input. At
/// equal rates the slice is one part. For a client that fetches as much input as it plays: call `fetch` instead of
/// `next`. At different rates `fetch` prepends silence to prevent underruns, which delays the input by a constant time
/// for the rest of the run.
///
/// After the last slice call `finish`; then `next` delivers the frames that are still in the rate converter, so that n
/// hardware frames give exactly n x client rate / hardware rate client frames, rounded up.
///
/// Not thread-safe, except for `failed`. The constructor allocates and throws what `RateConverter` throws; all other
/// operations are real-time safe.
class InputEdge {
 public:
  /// Creates an edge. `firstFrame` is the position in the run, in client frames, at which this edge starts: the number
  /// of frames that earlier edges of the run have already delivered.
  InputEdge(EdgeFormat hardware, EdgeFormat client, std::uint64_t firstFrame = 0);

  /// Sets the slice to convert, which must stay valid until the next call of `accept` or `finish`.
  void accept(const HubSlice& slice);
  /// Converts the next part of the slice; returns false if the slice is used up.
  bool next();
  /// Converts a part of exactly `frames` frames. Returns false if `frames` exceeds the length of the slice (at equal
  /// rates) or 4096 (at different rates).
  bool fetch(std::uint32_t frames);
  /// Marks the end of the input, after the last slice.
  void finish();

  std::span<const float* const> planes() const { return mPlanes; }
  std::uint32_t frames() const { return mFrames; }
  /// Returns the position of the current part: the number of client frames before it, including missing frames.
  std::uint64_t firstFrame() const { return nextFrame() - mFrames; }
  /// Returns the position of the next part: the number of client frames before it, including missing frames.
  std::uint64_t nextFrame() const { return mFirstFrame + mHandedOut + mGaps.missing(mHardware, mClient); }

  /// Returns whether the rate conversion has failed. After a failure the parts are silent but have the correct length.
  /// Thread-safe.
  bool failed() const { return mConverter && mConverter->failed(); }

  /// Returns the delay of the rate conversion in hardware frames, which is 0 at equal rates.
  std::uint32_t delayFrames() const { return mConverter ? mConverter->delayFrames() : 0; }

 private:
  static constexpr std::uint32_t partFrames = 4096;

  void map(const HubSlice& slice);
  std::uint32_t convert(AlignedSamples& target, std::uint32_t firstFrame, std::uint32_t maxFrames);
  std::uint32_t convertSlice(AlignedSamples& target, std::uint32_t firstFrame, std::uint32_t maxFrames);
  std::uint32_t convertRest(AlignedSamples& target, std::uint32_t firstFrame, std::uint32_t wanted);
  void handOut(const AlignedSamples& samples, std::uint32_t frames);
  std::uint64_t framesDue() const;
  std::uint32_t framesLeft(std::uint32_t maxFrames) const;

  EdgeFormat mHardware;
  EdgeFormat mClient;
  std::uint64_t mFirstFrame;
  SliceGaps mGaps;
  std::vector<const float*> mSource;  ///< The samples of the slice, converted to the client's channel count.
  std::uint32_t mSourceFrames = 0;
  std::uint32_t mSourceTaken = 0;
  AlignedSamples mMapped;
  std::optional<RateConverter> mConverter;
  AlignedSamples mConverted;
  FetchStore mStore;
  std::vector<const float*> mPlanes;
  std::uint32_t mFrames = 0;
  std::uint64_t mAccepted = 0;
  std::uint64_t mHandedOut = 0;
  bool mFinishing = false;
};

}  // namespace orvane::host
