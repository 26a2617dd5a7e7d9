// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "platform/UnitService.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/audio/OutputMix.h"
#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/RateConverter.h"
#include "platform/host/convert/SliceGaps.h"

namespace orvane::host {

/// The edge at which a client's sound enters the hub: asks the client's provider for it, and converts its channels and
/// rate to the hardware's.
///
/// At equal rates the provider is asked once a slice, for the slice's length. At other rates it is asked for as many
/// frames as the slice takes, in one part or more, each of one frame or more, and is ahead of the hardware by a
/// constant number of frames. Made before the device starts; everything else is real-time safe.
class OutputEdge {
 public:
  /// `firstFrame` client frames came before, through another edge.
  OutputEdge(EdgeFormat client, EdgeFormat hardware, std::uint64_t firstFrame = 0);
  ~OutputEdge();

  /// Plays one slice. A provider that gives another status than 0 is silent for what it was asked for.
  void play(const platform::OutputProvider& provider, const HubSlice& slice, OutputMix& mix);

  /// Client frames that the provider was asked for so far, those that are missing included.
  std::uint64_t nextFrame() const { return mFirstFrame + mAsked + mGaps.missing(mHardware, mClient); }
  /// Whether the rate conversion has failed. The provider is not asked and silence is played from then on. Any thread.
  bool failed() const { return mConverter && mConverter->failed(); }

  /// How far the provider is ahead for the sake of its rate, in hardware frames.
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
  AlignedSamples mProvided;  ///< What the provider fills.
  std::uint32_t mProvidedFrames = 0;
  std::uint32_t mProvidedTaken = 0;
  std::uint64_t mAsked = 0;   ///< Client frames that the provider was asked for.
  std::uint64_t mPlayed = 0;  ///< Hardware frames before the slice.
  std::optional<RateConverter> mConverter;
  AlignedSamples mConverted;
  AlignedSamples mMapped;
  std::unique_ptr<ListStorage> mList;
};

}  // namespace orvane::host
