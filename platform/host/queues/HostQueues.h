// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "platform/BufferQueue.h"
#include "platform/PlatformError.h"
#include "platform/Status.h"
#include "platform/host/CallGate.h"
#include "platform/host/HostContext.h"
#include "platform/host/Result.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/queues/HostQueue.h"

namespace orvane::host {

/// The host's implementation of `platform::BufferQueueService`: creates buffer queues, which are clients of the audio
/// hub.
class HostQueues final : public platform::BufferQueueService {
 public:
  HostQueues(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub);
  /// Stops the device and disposes the queues that still exist.
  ~HostQueues() override;

  platform::Status createInput(const platform::StreamDescription& format, platform::QueueInputCallback callback,
                               void* context, platform::BufferQueue& queue) override;
  platform::Status createOutput(const platform::StreamDescription& format, platform::QueueOutputCallback callback,
                                void* context, platform::BufferQueue& queue) override;
  platform::Status propertySize(platform::BufferQueue queue, platform::QueueProperty property,
                                std::uint32_t& byteSize) override;
  platform::Status property(platform::BufferQueue queue, platform::QueueProperty property, void* data,
                            std::uint32_t& byteSize) override;
  platform::Status setProperty(platform::BufferQueue queue, platform::QueueProperty property, const void* data,
                               std::uint32_t byteSize) override;
  platform::Status addPropertyListener(platform::BufferQueue queue, platform::QueueProperty property,
                                       platform::QueuePropertyListener listener, void* context) override;
  platform::Status allocateBuffer(platform::BufferQueue queue, std::uint32_t byteSize,
                                  platform::QueueBuffer*& buffer) override;
  platform::Status enqueueBuffer(platform::BufferQueue queue, platform::QueueBuffer* buffer, std::uint32_t packetCount,
                                 const platform::PacketDescription* packets) override;
  platform::Status start(platform::BufferQueue queue) override;
  platform::Status stop(platform::BufferQueue queue, bool immediate) override;
  platform::Status dispose(platform::BufferQueue queue) override;

 private:
  template <typename Queue, typename Callback>
  platform::Status create(const GatedCall& call, const platform::StreamDescription& format, Callback callback,
                          void* context, platform::BufferQueue& queue);
  template <typename Operation>
  platform::Status with(const GatedCall& call, platform::BufferQueue queue, Operation operation);
  std::shared_ptr<HostQueue> find(platform::BufferQueue queue) const;
  platform::Status refuse(const GatedCall& call, platform::Failure failure) const;

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;
  mutable std::mutex mMutex;
  std::map<platform::BufferQueue, std::shared_ptr<HostQueue>> mQueues;
  std::uint32_t mLastQueue = 0;
};

}  // namespace orvane::host
