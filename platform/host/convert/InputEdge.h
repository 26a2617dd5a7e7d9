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

/// The edge at which captured sound leaves the hub for a client: converts the hardware's channels and rate to the
/// client's.
///
/// A client that is handed its input takes it in parts: `accept` a slice, then read `planes` after each `next` that
/// gives true. At equal rates the slice is the one part. A client that fetches its input itself, for as many frames as
/// it plays, calls `fetch` instead; at other rates that adds silence in front, as much as it takes for the input never
/// to run dry, and a constant delay for the rest of the run.
///
/// After the last slice `finish`, then `next` gives what the converter still holds, so that n hardware frames amount to
/// exactly n x client rate / hardware rate client frames, rounded up. Made before the device starts; everything else is
/// real-time safe.
class InputEdge {
 public:
  /// `firstFrame` client frames came before, through another edge.
  InputEdge(EdgeFormat hardware, EdgeFormat client, std::uint64_t firstFrame = 0);

  /// Takes a slice. What `planes` gives then is valid until the next call and no longer than the slice.
  void accept(const HubSlice& slice);
  /// Makes the next part of the client's sound; false where the slice is used up.
  bool next();
  /// Makes a part of exactly `frames` frames; false where that is more than there can be.
  bool fetch(std::uint32_t frames);
  /// Says that the last slice has been.
  void finish();

  std::span<const float* const> planes() const { return mPlanes; }
  std::uint32_t frames() const { return mFrames; }
  /// Client frames before this part, those that are missing included.
  std::uint64_t firstFrame() const { return nextFrame() - mFrames; }
  /// The same for the next part.
  std::uint64_t nextFrame() const { return mFirstFrame + mHandedOut + mGaps.missing(mHardware, mClient); }

  /// Whether the rate conversion has failed. Silence of the right length comes from then on. Any thread.
  bool failed() const { return mConverter && mConverter->failed(); }

  /// How late input comes for the sake of its rate, in hardware frames.
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
  std::vector<const float*> mSource;  ///< The slice in the client's channels.
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
