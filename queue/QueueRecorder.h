// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "platform/BufferQueue.h"
#include "platform/Platform.h"
#include "platform/SoundFileService.h"
#include "platform/StreamDescription.h"
#include "platform/StreamFormat.h"

class OVSession;

namespace orvane {

/// The worker of `OVQueueRecorder`: fills three buffers of half a second from an input queue and writes their packets
/// to a file, on the queue's thread.
///
/// The callbacks run on the queue's thread, all other operations on the caller's.
class QueueRecorder {
 public:
  static constexpr float secondsPerBuffer = 0.5F;

  /// Creates the queue and the file and allocates the buffers. The extension of `filePath` selects the file type, the
  /// platform's native container if no type has it. `format` is the format of the file's data; null selects 44100 Hz,
  /// 16 bits, one channel, in the byte order of the file type. `OVQueueRecorder` describes the exceptions.
  QueueRecorder(const std::string& filePath, const platform::StreamFormat* format);
  /// Stops the recording, completes the file and disposes the queue. A failure to stop ends the process.
  ~QueueRecorder();
  QueueRecorder(const QueueRecorder&) = delete;
  QueueRecorder& operator=(const QueueRecorder&) = delete;

  void bindToSession(const OVSession& session);
  void start();
  void stop();

  /// Returns the complete format of the file's data.
  const platform::StreamDescription& format() const { return mFormat; }

  /// Copies the set-up data of the queue's encoder to the file, if the encoder has any and the file takes it.
  void copyEncoderCookieToFile();
  /// Returns the size, in bytes, of a buffer for `seconds` of sound: frames rounded up, packets rounded down, but at
  /// least one packet.
  static std::uint32_t computeRecordBufferSize(const platform::StreamDescription& format, platform::BufferQueue queue,
                                               float seconds);

 private:
  static void handleInputBuffer(void* context, platform::BufferQueue queue, platform::QueueBuffer* buffer,
                                const platform::RenderTimeStamp& time, std::uint32_t packetCount,
                                const platform::PacketDescription* packets);
  void bufferCallback(platform::QueueBuffer* buffer, const platform::RenderTimeStamp& time, std::uint32_t packetCount,
                      const platform::PacketDescription* packets);
  static void propertyListener(void* context, platform::BufferQueue queue, platform::QueueProperty property);

  void create(const std::string& filePath, const platform::StreamFormat* format);
  void listen();
  void dispose();
  void enqueue(platform::QueueBuffer* buffer);
  void awaitStop();

  const platform::Platform mServices;
  platform::StreamDescription mFormat;
  platform::SoundFile mFile = platform::SoundFile::none;
  platform::BufferQueue mQueue = platform::BufferQueue::none;
  std::array<platform::QueueBuffer*, 3> mBuffers{};
  std::atomic<bool> mRunning = false;
  std::atomic<bool> mStopping = false;
  std::atomic<bool> mRunStateChanged = false;
  std::int64_t mPacketIndex = 0;
};

}  // namespace orvane
