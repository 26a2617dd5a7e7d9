// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/BufferQueue.h"
#include "platform/PlatformError.h"
#include "platform/Status.h"
#include "platform/StreamDescription.h"
#include "platform/Worker.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/audio/HubClient.h"
#include "platform/host/sessions/SessionBinding.h"

namespace orvane::host {

/// Returns why no queue takes a format, judging by its rate and channel count, or `std::nullopt`. Must be asked before
/// anything is allocated for the channels.
std::optional<platform::Failure> whyNotShape(const platform::StreamDescription& format);

/// The part that input and output queues share: buffers, properties, listeners and the state of the run. A queue is a
/// client of the audio hub and has a worker, the queue's own thread, on which it converts and calls its client back.
/// `platform::BufferQueueService` describes the operations.
///
/// Three threads meet here. Callers control the queue and give it buffers; the worker uses up the buffers; the device
/// callback exchanges samples with the worker through a `SliceQueue`, and wakes it with a trigger. The mutex protects
/// what callers and the worker share; it is never locked on the device callback, nor while the client is called.
class HostQueue : public HubClient, public std::enable_shared_from_this<HostQueue> {
 public:
  HostQueue(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub, platform::BufferQueue handle,
            void* clientContext);
  ~HostQueue() override = default;

  platform::Status allocate(std::uint32_t byteSize, platform::QueueBuffer*& buffer);
  platform::Status enqueue(platform::QueueBuffer* buffer, std::span<const platform::PacketDescription> packets);
  platform::Status addListener(platform::QueueProperty property, platform::QueuePropertyListener listener,
                               void* context);
  platform::Status propertySize(platform::QueueProperty property, std::uint32_t& byteSize);
  platform::Status property(platform::QueueProperty property, void* data, std::uint32_t& byteSize);
  platform::Status setProperty(platform::QueueProperty property, std::span<const std::byte> value);

  virtual std::optional<platform::Failure> start() = 0;
  virtual platform::Status stop(bool immediate) = 0;
  /// Stops the queue and ends its worker. Must be called once, before the queue is released.
  void dispose();

 protected:
  /// A buffer with its memory. Everything is kept from one use to the next, so that the client's callback, which
  /// enqueues buffers, allocates nothing.
  struct Buffer {
    platform::QueueBuffer shown;  ///< What the client sees.
    std::unique_ptr<std::byte[]> memory;
    std::vector<platform::PacketDescription> packets;
    bool isEnqueued = false;
  };

  // Implemented by the two kinds of queue. Called with the mutex locked.
  virtual platform::StreamDescription format() const = 0;
  virtual std::vector<std::byte> cookie() const = 0;
  virtual std::uint32_t maxPacketBytes() const = 0;
  virtual std::optional<platform::Failure> setCookie(std::span<const std::byte> cookie) = 0;
  /// Returns whether the packets can be played; an input queue takes none.
  virtual bool accepts(const platform::QueueBuffer& buffer,
                       std::span<const platform::PacketDescription> packets) const = 0;
  /// Tells the worker about a new buffer.
  virtual void bufferArrived() = 0;

  /// Returns the failure if the device or the session's category lacks the side that the queue uses.
  std::optional<platform::Failure> whyNotStart(bool input, bool output) const;
  std::optional<backend::SessionLabels> session() const override { return mSession.labels(); }
  /// Notifies the listeners, on the worker, that `mRunning` has changed.
  void announceRunning();
  /// Keeps the status of a failed conversion, logs the failure and notifies the listeners, on the worker.
  void reportConverterError(const platform::Failure& failure);
  /// Returns the buffer that was enqueued first, or null. Called with the mutex locked.
  Buffer* front() { return mEnqueued.empty() ? nullptr : mEnqueued.front(); }
  /// Gives the first buffer back to the client. Called with the mutex locked.
  void popFront();
  /// Gives all buffers back to the client. Called with the mutex locked.
  void dropEnqueued();

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;
  const platform::BufferQueue mHandle;
  void* const mClientContext;
  SessionBinding mSession;

  std::mutex mMutex;
  std::atomic<bool> mRunning = false;
  std::atomic<bool> mFailed = false;  ///< A conversion failed; the run cannot continue. Read by the device callback.
  platform::Failure mFailure;         ///< The reason.

 private:
  struct Listener {
    platform::QueueProperty property;
    platform::QueuePropertyListener call;
    void* context;
  };

  void notify(platform::QueueProperty property);
  std::optional<std::vector<std::byte>> read(platform::QueueProperty property);

  std::vector<std::unique_ptr<Buffer>> mBuffers;
  std::vector<Buffer*> mEnqueued;  ///< Oldest first.
  std::vector<Listener> mListeners;
  std::vector<std::byte> mLayout;
  platform::Status mConverterError = platform::status::success;

 protected:
  /// The last member, so that no task runs when the others are destroyed.
  const std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::host
