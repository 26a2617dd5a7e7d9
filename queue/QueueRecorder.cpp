// SPDX-License-Identifier: MIT
#include "queue/QueueRecorder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <vector>

#include "Pexutil/Source/Utility/PXAudioFileFormats.h"
#include "Pexutil/Source/Utility/PXLiterals.h"
#include "platform/Clock.h"
#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "platform/Waiter.h"
#include "queue/QueueServices.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace orvane {

using namespace std::chrono_literals;
using namespace PX::Literals;
using platform::BufferQueue;
using platform::BufferQueueService;
using platform::QueueBuffer;
using platform::QueueProperty;
using platform::SoundFile;
using platform::SoundFileProperty;
using platform::Status;
using platform::StreamDescription;
namespace status = platform::status;

namespace {

StreamDescription defaultFormat(std::uint32_t fileType) {
  const bool isAiff = fileType == platform::sound_file_type::aiff || fileType == platform::sound_file_type::aifc;
  return isAiff ? "44100-S16IE-1"_lpcm : "44100-S16Ie-1"_lpcm;
}

std::uint32_t bufferSize(const platform::Platform& services, const StreamDescription& format, BufferQueue queue,
                         float seconds) {
  const auto frames = static_cast<std::int32_t>(std::ceil(format.sampleRate * static_cast<double>(seconds)));
  if (format.bytesPerFrame != 0) return static_cast<std::uint32_t>(frames) * format.bytesPerFrame;
  std::uint32_t packetSize = format.bytesPerPacket;
  if (packetSize == 0) {
    std::uint32_t size = sizeof packetSize;
    check(services, queuesOf(services).property(queue, QueueProperty::maxOutputPacketSize, &packetSize, size),
          "Couldn't get queue's maximum output packet size");
  }
  const auto wholeFrames = static_cast<std::uint32_t>(frames);
  const std::uint32_t packets = format.framesPerPacket != 0 ? wholeFrames / format.framesPerPacket : wholeFrames;
  return std::max(packets, 1U) * packetSize;
}

}  // namespace

QueueRecorder::QueueRecorder(const std::string& filePath, const platform::StreamFormat* format)
    : mServices(platform::current()) {
  try {
    create(filePath, format);
  } catch (...) {
    dispose();
    throw;
  }
}

void QueueRecorder::create(const std::string& filePath, const platform::StreamFormat* format) {
  std::uint32_t fileType = platform::sound_file_type::nativeContainer;
  PXAudioFileFormats::Instance(false).InferFileFormatFromFilename(filePath.c_str(), fileType);
  mFormat = format != nullptr ? format->description() : defaultFormat(fileType);

  BufferQueueService& queues = queuesOf(mServices);
  check(mServices, queues.createInput(mFormat, &QueueRecorder::handleInputBuffer, this, mQueue),
        "BufferQueueService::createInput failed");
  std::uint32_t size = sizeof mFormat;
  check(mServices, queues.property(mQueue, QueueProperty::streamDescription, &mFormat, size),
        "Couldn't get queue's format");
  check(mServices, filesOf(mServices).create(filePath, fileType, mFormat, mFile), "SoundFileService::create failed");
  copyEncoderCookieToFile();
  const std::uint32_t bytes = bufferSize(mServices, mFormat, mQueue, secondsPerBuffer);
  for (QueueBuffer*& buffer : mBuffers) {
    check(mServices, queues.allocateBuffer(mQueue, bytes, buffer), "BufferQueueService::allocateBuffer failed");
  }
  listen();
}

void QueueRecorder::listen() {
  for (const QueueProperty property : {QueueProperty::isRunning, QueueProperty::converterError}) {
    check(mServices, queuesOf(mServices).addPropertyListener(mQueue, property, &QueueRecorder::propertyListener, this),
          "BufferQueueService::addPropertyListener failed");
  }
}

QueueRecorder::~QueueRecorder() {
  stop();
  dispose();
}

void QueueRecorder::dispose() {
  if (mFile != SoundFile::none) mServices.soundFiles->close(mFile);
  if (mQueue != BufferQueue::none) mServices.bufferQueues->dispose(mQueue);
}

std::uint32_t QueueRecorder::computeRecordBufferSize(const StreamDescription& format, BufferQueue queue,
                                                     float seconds) {
  return bufferSize(platform::current(), format, queue, seconds);
}

void QueueRecorder::copyEncoderCookieToFile() {
  BufferQueueService& queues = queuesOf(mServices);
  std::uint32_t size = 0;
  if (queues.propertySize(mQueue, QueueProperty::magicCookie, size) != status::success || size == 0) return;
  std::vector<std::byte> cookie(size);
  check(mServices, queues.property(mQueue, QueueProperty::magicCookie, cookie.data(), size),
        "Couldn't get audio queue's magic cookie");
  std::uint32_t ignored = 0;
  bool isWritable = false;
  const Status known = filesOf(mServices).propertyInfo(mFile, SoundFileProperty::magicCookie, ignored, isWritable);
  if (known != status::success || !isWritable) return;
  check(mServices, filesOf(mServices).setProperty(mFile, SoundFileProperty::magicCookie, size, cookie.data()),
        "Set audio file's magic cookie");
}

void QueueRecorder::bindToSession(const OVSession& session) {
  bindQueueToSession(mServices, mQueue, session);
}

void QueueRecorder::enqueue(QueueBuffer* buffer) {
  check(mServices, queuesOf(mServices).enqueueBuffer(mQueue, buffer, 0, nullptr),
        "BufferQueueService::enqueueBuffer failed");
}

void QueueRecorder::start() {
  for (QueueBuffer* buffer : mBuffers) enqueue(buffer);
  mRunning = true;
  const Status started = queuesOf(mServices).start(mQueue);
  if (started == status::success) return;
  mRunning = false;
  queuesOf(mServices).stop(mQueue, true);  // Gives the buffers back, for another start.
  raiseOn(mServices, "BufferQueueService::start failed", started);
}

void QueueRecorder::stop() {
  if (!mRunning) return;
  mStopping = true;
  mRunStateChanged = false;
  check(mServices, queuesOf(mServices).stop(mQueue, true), "BufferQueueService::stop failed");
  mStopping = false;
  awaitStop();
  copyEncoderCookieToFile();
}

/// Waits until the queue has reported that it stopped. Before that it may still call back.
void QueueRecorder::awaitStop() {
  constexpr platform::HostTime checkPeriod = 1ms;
  constexpr platform::HostTime limit = 5s;
  platform::Scheduler& scheduler = requiredRole(mServices, mServices.scheduler, "Scheduler");
  const std::unique_ptr<platform::Waiter> waiter = scheduler.makeWaiter();
  const platform::HostTime end = scheduler.clock().now() + limit;
  while (!mRunStateChanged && scheduler.clock().now() < end) waiter->wait(checkPeriod);
  mRunning = false;
  if (!mRunStateChanged) raiseOn(mServices, "stop failed: the queue did not report within 5 s that it stopped");
}

void QueueRecorder::handleInputBuffer(void* context, BufferQueue, QueueBuffer* buffer,
                                      const platform::RenderTimeStamp& time, std::uint32_t packetCount,
                                      const platform::PacketDescription* packets) {
  try {
    static_cast<QueueRecorder*>(context)->bufferCallback(buffer, time, packetCount, packets);
  } catch (const std::exception&) {
    // The queue's thread has nobody to raise it to. The host keeps the failure of a write.
  }
}

void QueueRecorder::bufferCallback(QueueBuffer* buffer, const platform::RenderTimeStamp&, std::uint32_t packetCount,
                                   const platform::PacketDescription* packets) {
  if (buffer == nullptr || !mRunning) return;
  if (packetCount > 0) {
    const Status written =
        filesOf(mServices).writePackets(mFile, buffer->byteSize, packets, mPacketIndex, packetCount, buffer->data);
    if (written != status::success) raiseOn(mServices, "SoundFileService::writePackets failed", written);
    mPacketIndex += packetCount;
  }
  if (!mStopping) enqueue(buffer);
}

void QueueRecorder::propertyListener(void* context, BufferQueue queue, QueueProperty property) {
  auto* const recorder = static_cast<QueueRecorder*>(context);
  if (property == QueueProperty::isRunning) recorder->mRunStateChanged = true;
  if (property != QueueProperty::converterError) return;
  std::uint32_t code = 0;
  std::uint32_t size = sizeof code;
  const Status known = recorder->mServices.bufferQueues->property(queue, property, &code, size);
  if (known == status::success) std::printf("*** queue converter error: %u\n", code);
}

}  // namespace orvane
