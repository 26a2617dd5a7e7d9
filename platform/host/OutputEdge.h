#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/RenderBufferList.h"
#include "platform/host/AlignedSamples.h"
#include "platform/host/OutputMix.h"

namespace orvane::host {

/// Where a client's sound enters the hub: holds the buffers that the client fills, and turns its channels into the
/// hardware's.
///
/// Made before the device starts; everything else is real-time safe.
class OutputEdge {
 public:
  OutputEdge(std::uint32_t clientChannels, std::uint32_t hardwareChannels);
  ~OutputEdge();

  /// The client's buffers for `frames` frames: one channel each, sizes and addresses set anew.
  platform::RenderBufferList& buffers(std::uint32_t frames);
  /// Adds what the client put into the buffers.
  void play(OutputMix& mix);

 private:
  struct ListStorage;

  AlignedSamples mClient;
  AlignedSamples mMapped;
  std::unique_ptr<ListStorage> mList;
};

}  // namespace orvane::host
