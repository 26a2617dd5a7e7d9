// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/BufferQueue.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/StreamDescription.h"
#include "platform/Waiter.h"

class OVSession;

namespace orvane {

/// The worker of `OVQueuePlayer`: reads the packets of a file into three buffers of half a second and plays them
/// through an output queue. A file that cannot be read to its end ends the process with status 1.
///
/// `bufferCallback` runs on the queue's thread, after `start` has primed the queue on the caller's; all other
/// operations run on the caller's thread.
class QueuePlayer {
 public:
  /// Opens the file at `location`, a file-system path, creates the queue and allocates the buffers. `OVQueuePlayer`
  /// describes the exceptions.
  explicit QueuePlayer(const std::string& location);
  ~QueuePlayer();
  QueuePlayer(const QueuePlayer&) = delete;
  QueuePlayer& operator=(const QueuePlayer&) = delete;

  void bindToSession(const OVSession& session);
  /// Fills the buffers, starts the queue, and returns the status of its start.
  platform::Status start();
  /// Stops the queue at once.
  void stop();

  const platform::Platform& services() const { return mServices; }
  const platform::StreamDescription& format() const { return mFormat; }
  bool isFinished() const { return mFinished; }
  bool waitUntilFinished(platform::HostTime limit);
  void setFinishedHandler(std::function<void()> handler) { mFinishedHandler = std::move(handler); }

 private:
  static void bufferCallback(void* context, platform::BufferQueue queue, platform::QueueBuffer* buffer);
  static void propertyListener(void* context, platform::BufferQueue queue, platform::QueueProperty property);

  void create(const std::string& location);
  void readFormat();
  std::uint32_t chooseBufferSize();
  void refill(platform::BufferQueue queue, platform::QueueBuffer& buffer);
  void finishQueue();
  void dispose();

  const platform::Platform mServices;
  platform::SoundFile mFile = platform::SoundFile::none;
  platform::BufferQueue mQueue = platform::BufferQueue::none;
  std::array<platform::QueueBuffer*, 3> mBuffers{};
  platform::StreamDescription mFormat;
  std::uint32_t mPacketsPerRead = 0;
  std::vector<platform::PacketDescription> mPacketDescriptions;
  std::atomic<bool> mDone = false;
  std::int64_t mPacketIndex = 0;
  bool mPrimed = false;                 ///< The queue was given the buffers, and was not told to stop at once.
  std::atomic<bool> mStopped = false;   ///< The queue was told to stop at once.
  std::atomic<bool> mFinished = false;  ///< The queue has played everything and stopped.
  std::unique_ptr<platform::Waiter> mFinishedSignal;
  std::function<void()> mFinishedHandler;
};

}  // namespace orvane
