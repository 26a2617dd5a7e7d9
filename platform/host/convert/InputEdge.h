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

/// Converts captured audio from the hardware's channels and rate to a client's.
///
/// A client with an input handler reads its input in parts: call `accept` with a slice, then read `planes()` after each
/// `next` that returns true. At equal rates the slice is one part. A client that fetches its input, as many frames as
/// it plays, calls `fetch` instead of `next`; at different rates this prepends silence to prevent underruns, which is a
/// constant delay for the rest of the run.
///
/// After the last slice call `finish`; `next` then returns the frames that the converter still holds, so that n
/// hardware frames give exactly n x client rate / hardware rate client frames, rounded up.
///
/// Not thread-safe, except `failed`. The constructor allocates and throws what `RateConverter` throws; all other
/// operations are real-time safe.
class InputEdge {
 public:
  /// `firstFrame` is the number of client frames delivered through an earlier edge.
  InputEdge(EdgeFormat hardware, EdgeFormat client, std::uint64_t firstFrame = 0);

  /// Takes a slice, which must stay valid until the next call of `accept` or `finish`.
  void accept(const HubSlice& slice);
  /// Makes the next part; returns false if the slice is used up.
  bool next();
  /// Makes a part of exactly `frames` frames. Returns false if `frames` exceeds the slice at equal rates, or 4096 at
  /// different rates.
  bool fetch(std::uint32_t frames);
  /// Marks the end of the input.
  void finish();

  std::span<const float* const> planes() const { return mPlanes; }
  std::uint32_t frames() const { return mFrames; }
  /// Returns the number of client frames before this part, missing frames included.
  std::uint64_t firstFrame() const { return nextFrame() - mFrames; }
  /// Returns the number of client frames before the next part, missing frames included.
  std::uint64_t nextFrame() const { return mFirstFrame + mHandedOut + mGaps.missing(mHardware, mClient); }

  /// Whether the rate conversion has failed; from then on the parts are silence of the right length. Thread-safe.
  bool failed() const { return mConverter && mConverter->failed(); }

  /// Returns the delay of the rate conversion in hardware frames; 0 at equal rates.
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
  std::vector<const float*> mSource;  ///< The slice, mapped to the client's channels.
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
