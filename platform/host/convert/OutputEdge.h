// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "platform/UnitService.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/audio/HubClient.h"
#include "platform/host/audio/OutputMix.h"
#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/RateConverter.h"
#include "platform/host/convert/SliceGaps.h"

namespace orvane::host {

/// The converter of a client's output: calls the client's output provider and converts the samples from the client's
/// channel count and rate to those of the hardware.
///
/// At equal rates the provider is called once per slice (block of one device callback) for all its frames. At different
/// rates it is called as often as needed, for 1 to 1024 frames each, and its output is ahead of the hardware by a
/// constant number of frames.
///
/// Not thread-safe, except for `failed`. The constructor allocates and throws what `RateConverter` throws; all other
/// operations are real-time safe.
class OutputEdge {
 public:
  /// Creates an edge. `firstFrame` is the position in the run, in client frames, at which this edge starts: the number
  /// of frames that earlier edges of the run have already requested.
  OutputEdge(EdgeFormat client, EdgeFormat hardware, std::uint64_t firstFrame = 0);
  ~OutputEdge();

  /// Gets one slice of output from the provider and adds it to `mix`. If the provider returns a status other than 0,
  /// the frames of that call are silent.
  void play(const platform::OutputProvider& provider, const HubSlice& slice, OutputMix& mix);

  /// Returns the number of client frames requested so far, including missing frames.
  std::uint64_t nextFrame() const { return mFirstFrame + mAsked + mGaps.missing(mHardware, mClient); }
  /// Returns whether the rate conversion has failed. After a failure, silence is played without calling the provider.
  /// Thread-safe.
  bool failed() const { return mConverter && mConverter->failed(); }

  /// Returns by how many hardware frames the provider is ahead of the hardware; 0 at equal rates.
  std::uint32_t delayFrames() const;

 private:
  struct ListStorage;
  static constexpr std::uint32_t partFrames = 1024;

  bool ask(const platform::OutputProvider& provider, const HubSlice& slice, std::uint32_t frames);
  std::uint32_t framesToAsk(const HubSlice& slice) const;
  void convert(const platform::OutputProvider& provider, const HubSlice& slice);
  void mixIn(std::span<const float* const> planes, OutputMix& mix);

  EdgeFormat mClient;
  EdgeFormat mHardware;
  std::uint64_t mFirstFrame;
  SliceGaps mGaps;
  AlignedSamples mProvided;  ///< Filled by the provider.
  std::uint32_t mProvidedFrames = 0;
  std::uint32_t mProvidedTaken = 0;
  std::uint64_t mAsked = 0;   ///< Client frames requested from the provider.
  std::uint64_t mPlayed = 0;  ///< Hardware frames before the slice.
  std::optional<RateConverter> mConverter;
  AlignedSamples mConverted;
  AlignedSamples mMapped;
  std::unique_ptr<ListStorage> mList;
};

}  // namespace orvane::host
