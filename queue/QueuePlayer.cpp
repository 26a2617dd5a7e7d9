// SPDX-License-Identifier: MIT
#include "queue/QueuePlayer.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "queue/QueueServices.h"
#include "session/EndProcess.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace orvane {

using platform::BufferQueue;
using platform::BufferQueueService;
using platform::QueueBuffer;
using platform::QueueProperty;
using platform::SoundFile;
using platform::SoundFileFormat;
using platform::SoundFileProperty;
using platform::Status;
namespace status = platform::status;

namespace {

/// Returns the bytes of a property that a file need not have, or no bytes. Raises `message` if the property is there
/// but cannot be read.
std::vector<std::byte> optionalProperty(const platform::Platform& services, SoundFile file, SoundFileProperty property,
                                        const char* message) {
  std::uint32_t size = 0;
  bool isWritable = false;
  if (filesOf(services).propertyInfo(file, property, size, isWritable) != status::success || size == 0) return {};
  std::vector<std::byte> bytes(size);
  check(services, filesOf(services).property(file, property, size, bytes.data()), message);
  bytes.resize(std::min<std::size_t>(bytes.size(), size));
  return bytes;
}

}  // namespace

QueuePlayer::QueuePlayer(const std::string& location) : mServices(platform::current()) {
  mFinishedSignal = requiredRole(mServices, mServices.scheduler, "Scheduler").makeWaiter();
  try {
    create(location);
  } catch (...) {
    dispose();
    throw;
  }
}

void QueuePlayer::create(const std::string& location) {
  check(mServices, filesOf(mServices).open(location, mFile), "SoundFileService::open failed");
  readFormat();
  const auto layout =
      optionalProperty(mServices, mFile, SoundFileProperty::channelLayout, "get audio file's channel layout");
  BufferQueueService& queues = queuesOf(mServices);
  check(mServices, queues.createOutput(mFormat, &QueuePlayer::bufferCallback, this, mQueue),
        "BufferQueueService::createOutput failed");
  const std::uint32_t bytes = chooseBufferSize();
  const auto cookie = optionalProperty(mServices, mFile, SoundFileProperty::magicCookie, "get cookie from file");
  if (!cookie.empty()) {
    check(mServices,
          queues.setProperty(mQueue, QueueProperty::magicCookie, cookie.data(),
                             static_cast<std::uint32_t>(cookie.size())),
          "set cookie on queue");
  }
  if (!layout.empty()) {
    check(mServices,
          queues.setProperty(mQueue, QueueProperty::channelLayout, layout.data(),
                             static_cast<std::uint32_t>(layout.size())),
          "set channel layout on queue");
  }
  for (QueueBuffer*& buffer : mBuffers) {
    check(mServices, queues.allocateBuffer(mQueue, bytes, buffer), "BufferQueueService::allocateBuffer failed");
  }
  check(mServices, queues.addPropertyListener(mQueue, QueueProperty::isRunning, &QueuePlayer::propertyListener, this),
        "BufferQueueService::addPropertyListener failed");
}

/// Reads the file's data format, of which it must have exactly one.
void QueuePlayer::readFormat() {
  std::uint32_t size = 0;
  bool isWritable = false;
  check(mServices, filesOf(mServices).propertyInfo(mFile, SoundFileProperty::formatList, size, isWritable),
        "couldn't get file's format list info");
  if (size / sizeof(SoundFileFormat) != 1) {
    raiseOn(mServices, "Don't know how to handle multiple available formats");
  }
  SoundFileFormat format;
  size = sizeof format;
  check(mServices, filesOf(mServices).property(mFile, SoundFileProperty::formatList, size, &format),
        "couldn't get file's data format");
  mFormat = format.description;
}

/// Returns the size of a buffer: half a second of the file's largest packets, but at least one packet and 16384 bytes.
/// Sets how many packets it takes.
std::uint32_t QueuePlayer::chooseBufferSize() {
  constexpr double seconds = 0.5;
  constexpr std::uint32_t minBytes = 16384;
  constexpr std::uint32_t minBytesOfUnknownDuration = 65536;
  std::uint32_t maxPacket = 0;
  std::uint32_t size = sizeof maxPacket;
  check(mServices, filesOf(mServices).property(mFile, SoundFileProperty::packetSizeUpperBound, size, &maxPacket),
        "couldn't get file's max packet size");
  if (maxPacket == 0) raiseOn(mServices, "zero length file");

  std::uint32_t bytes = std::max(maxPacket, minBytesOfUnknownDuration);
  if (mFormat.framesPerPacket != 0) {
    const double exact = mFormat.sampleRate / mFormat.framesPerPacket * seconds * maxPacket;
    bytes = static_cast<std::uint32_t>(std::clamp(exact, 0.0, 4294967295.0));
  }
  // A packet of more than half a second must fit too.
  bytes = std::max({bytes, minBytes, maxPacket});
  mPacketsPerRead = bytes / maxPacket;
  if (mFormat.bytesPerPacket == 0 || mFormat.framesPerPacket == 0) mPacketDescriptions.resize(mPacketsPerRead);
  return bytes;
}

QueuePlayer::~QueuePlayer() {
  dispose();
}

void QueuePlayer::dispose() {
  mStopped = true;
  if (mQueue != BufferQueue::none) mServices.bufferQueues->dispose(mQueue);
  if (mFile != SoundFile::none) mServices.soundFiles->close(mFile);
}

void QueuePlayer::bindToSession(const OVSession& session) {
  bindQueueToSession(mServices, mQueue, session);
}

Status QueuePlayer::start() {
  mStopped = false;
  // After a refused start, and while it runs, the queue still has the buffers.
  if (!std::exchange(mPrimed, true)) {
    for (QueueBuffer* buffer : mBuffers) {
      if (mDone) break;
      bufferCallback(this, mQueue, buffer);
    }
  }
  return queuesOf(mServices).start(mQueue);
}

void QueuePlayer::stop() {
  mStopped = true;
  mPrimed = false;
  queuesOf(mServices).stop(mQueue, true);
}

bool QueuePlayer::waitUntilFinished(platform::HostTime limit) {
  if (!mFinished && mFinishedSignal->wait(limit)) mFinishedSignal->signal();  // For those who wait later.
  return mFinished;
}

void QueuePlayer::bufferCallback(void* context, BufferQueue queue, QueueBuffer* buffer) {
  auto* const player = static_cast<QueuePlayer*>(context);
  if (!player->mDone) player->refill(queue, *buffer);
}

/// Fills a buffer with the next packets and enqueues it. At the end of the file, lets the queue play out and stop.
void QueuePlayer::refill(BufferQueue queue, QueueBuffer& buffer) {
  std::uint32_t packets = mPacketsPerRead;
  std::uint32_t bytes = buffer.capacity;
  platform::PacketDescription* const descriptions = mPacketDescriptions.empty() ? nullptr : mPacketDescriptions.data();
  const Status read = mServices.soundFiles->readPackets(mFile, bytes, descriptions, mPacketIndex, packets, buffer.data);
  if (read != status::success) {
    logOn(mServices, platform::LogLevel::error, "Error reading from file: " + std::to_string(read));
    endProcess(1);
  }
  if (packets == 0) return finishQueue();
  buffer.byteSize = bytes;
  mServices.bufferQueues->enqueueBuffer(queue, &buffer, descriptions == nullptr ? 0 : packets, descriptions);
  mPacketIndex += packets;
}

void QueuePlayer::finishQueue() {
  const Status stopped = mServices.bufferQueues->stop(mQueue, false);
  if (stopped != status::success) {
    logOn(mServices, platform::LogLevel::error,
          "BufferQueueService::stop(immediate = false) failed: " + std::to_string(stopped));
    endProcess(1);
  }
  mDone = true;
}

void QueuePlayer::propertyListener(void* context, BufferQueue queue, QueueProperty property) {
  auto* const player = static_cast<QueuePlayer*>(context);
  std::uint32_t isRunning = 1;
  std::uint32_t size = sizeof isRunning;
  const Status known = player->mServices.bufferQueues->property(queue, property, &isRunning, size);
  if (known != status::success || isRunning != 0 || !player->mDone) return;
  if (player->mStopped || player->mFinished.exchange(true)) return;
  player->mFinishedSignal->signal();
  if (player->mFinishedHandler) player->mFinishedHandler();
}

}  // namespace orvane
