// SPDX-License-Identifier: MIT
#include "platform/host/queues/InputQueue.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/Log.h"
#include "platform/Status.h"
#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/RateConverter.h"
#include "platform/host/time/RunAndWait.h"

namespace orvane::host {

using platform::Failure;
using platform::Status;
namespace status = platform::status;

namespace {

/// The worker is woken after this time. Waking it for each slice would cost more than the work.
constexpr double wakeSeconds = 0.02;
/// A buffer with this much sound is delivered although it is not full, so that a recording whose process is killed
/// lacks little.
constexpr double deliverySeconds = 0.1;

}  // namespace

Result<std::shared_ptr<HostQueue>> InputQueue::create(std::shared_ptr<HostContext> context,
                                                      std::shared_ptr<AudioHub> hub, platform::BufferQueue handle,
                                                      const Client& client) {
  if (auto failure = whyNotShape(client.format)) return *std::move(failure);
  std::shared_ptr<InputQueue> queue(new InputQueue(std::move(context), std::move(hub), handle, client));
  if (client.format.formatID == platform::linearPcmFormatID) {
    queue->mPcm = PcmCoding::make(client.format);
    if (queue->mPcm) return std::shared_ptr<HostQueue>(std::move(queue));
    return Failure{
        status::unsupportedFormat,
        "queues give interleaved linear PCM of 1 to 64 channels, integers of 1 to 32 bits or floats of 32 or "
        "64 bits, at a rate above 0"};
  }
  auto encoder = makeEncoder(client.format);
  if (!encoder) return encoder.failure();
  queue->mFormat = (*encoder)->format();
  queue->mEncoder = std::move(*encoder);
  return std::shared_ptr<HostQueue>(std::move(queue));
}

InputQueue::InputQueue(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub,
                       platform::BufferQueue handle, const Client& client)
    : HostQueue(std::move(context), std::move(hub), handle, client.context),
      mClient(client),
      mFormat(client.format),
      mConverted(client.format.channelsPerFrame) {
  mWorkTrigger = mWorker->makeTrigger([this] { work(); });
}

InputQueue::~InputQueue() = default;

std::uint32_t InputQueue::maxPacketBytes() const {
  return mEncoder ? mEncoder->maxPacketBytes() : mPcm->frameBytes();
}

std::optional<Failure> InputQueue::setCookie(std::span<const std::byte>) {
  return Failure{status::badParameter, "the cookie of an input queue comes from its encoder"};
}

bool InputQueue::accepts(const platform::QueueBuffer& buffer, std::span<const platform::PacketDescription>) const {
  return buffer.capacity >= maxPacketBytes();
}

void InputQueue::bufferArrived() {
  if (mRunning) mWorkTrigger->fire();
}

// ---- control

std::optional<Failure> InputQueue::start() {
  if (mRunning) return std::nullopt;
  if (auto failure = whyNotStart(true, false)) return failure;
  {
    const std::lock_guard lock(mMutex);
    if (mEncoderEnded) {
      return Failure{status::wrongState, "a compressed recording cannot be continued after it was stopped"};
    }
    if (auto failure = prepare(mHub->format())) return failure;
    mConverted.clear();
    mFilledFrames = mBufferFrame = 0;
    mFinishing = false;
    mFailed = false;
    mFirstTime = platform::HostTime::zero();
  }
  mRunning = true;
  if (auto failure = mHub->add(*this)) {
    mRunning = false;
    const std::lock_guard lock(mMutex);
    dropEnqueued();
    return failure;
  }
  announceRunning();
  return std::nullopt;
}

Status InputQueue::stop(bool) {
  if (!mRunning) {
    const std::lock_guard lock(mMutex);
    dropEnqueued();
    return status::success;
  }
  mHub->remove(*this);
  // The rest is delivered on the queue's own thread, before this call returns.
  runAndWait(*mContext->scheduler, *mWorker, [this] { finish(); });
  mRunning = false;
  announceRunning();
  return status::success;
}

std::optional<Failure> InputQueue::prepare(const backend::DeviceFormat& hardware) {
  const EdgeFormat from{hardware.inputs, hardware.sampleRate};
  const EdgeFormat to{mFormat.channelsPerFrame, mFormat.sampleRate};
  if (!RateConverter::canConvert(from.sampleRate, to.sampleRate)) {
    return Failure{status::unsupportedFormat,
                   "the queue's rate differs from the hardware's by more than a factor of 256"};
  }
  try {
    mConverter = std::make_unique<BlockConverter>(from, to);
    const auto wakeFrames = static_cast<std::uint32_t>(std::max(1.0, from.sampleRate * wakeSeconds));
    mRing = std::make_unique<CaptureRing>(from.channels, from.sampleRate, wakeFrames);
  } catch (const std::bad_alloc&) {
    return Failure{status::ioFailure, "there is not enough memory to buffer the input"};
  } catch (const std::runtime_error& failure) {
    return Failure{status::unsupportedFormat, failure.what()};
  }
  mHardware = hardware;
  mConverterEnded = false;
  return std::nullopt;
}

/// Converts what was captured in the old format before the new one begins.
std::optional<Failure> InputQueue::deviceChanged(const backend::DeviceFormat& format) {
  if (format == mHardware) return std::nullopt;
  if (auto failure = mSession.whyNot(format, true, false, "BufferQueueService::start")) return failure;
  const std::lock_guard lock(mMutex);
  mRing->countOverruns(*mContext, "the recorder");
  try {
    mRing->takeAll(
        [this](const SliceQueue::Block& block) { mConverter->convert(block.planes, block.frames, mConverted); });
    mConverter->finish(mConverted);
  } catch (const std::exception& failure) {
    return Failure{status::ioFailure, std::string("the input could not be converted: ") + failure.what()};
  }
  return prepare(format);
}

// ---- the device callback

const char* InputQueue::deviceSlice(const HubSlice& slice, OutputMix&) {
  if (mFailed) return "the input of a buffer queue could not be encoded";
  if (mFirstTime.load(std::memory_order_relaxed) == platform::HostTime::zero()) mFirstTime = slice.time;
  if (mRing->capture(slice.inputs, slice.frames)) mWorkTrigger->fire();
  return nullptr;
}

// ---- the worker

/// Fills buffers and hands them over until the ring is empty or the client has no more buffers.
void InputQueue::work() {
  for (;;) {
    Buffer* filled = nullptr;
    std::uint64_t firstFrame = 0;
    std::optional<Failure> failure;
    {
      const std::lock_guard lock(mMutex);
      if (mFailed || !mRing) return;
      firstFrame = mBufferFrame;
      auto next = fillNext();
      if (next) {
        filled = *next;
      } else {
        failure = next.failure();
      }
      mRing->countOverruns(*mContext, "the recorder");
    }
    if (failure) return reportConverterError(*failure);
    if (filled == nullptr) return;
    deliver(*filled, firstFrame);
  }
}

void InputQueue::deliver(Buffer& buffer, std::uint64_t firstFrame) {
  const double seconds = static_cast<double>(firstFrame) / mFormat.sampleRate;
  const platform::HostTime time =
      mFirstTime.load() + std::chrono::duration_cast<platform::HostTime>(std::chrono::duration<double>(seconds));
  const platform::RenderTimeStamp stamp{.sampleTime = static_cast<double>(firstFrame),
                                        .hostTime = static_cast<std::uint64_t>(time.count())};
  const auto packets =
      static_cast<std::uint32_t>(mPcm ? buffer.shown.byteSize / mPcm->frameBytes() : buffer.packets.size());
  mClient.callback(mClientContext, mHandle, &buffer.shown, stamp, packets, mPcm ? nullptr : buffer.packets.data());
}

/// Delivers everything that is left, and gives the unused buffers back.
void InputQueue::finish() {
  {
    const std::lock_guard lock(mMutex);
    mFinishing = true;
  }
  work();
  const std::lock_guard lock(mMutex);
  const bool isLost = mConverted.frames() > 0 || !mPackets.empty() || mRing->frames() > 0;
  if (mFailed) {
    mContext->writeFailures.record(mFailure);
  } else if (isLost) {
    mContext->files.addOverruns(1);
    mContext->log->write(platform::LogLevel::warning, "the end of a recording was lost: its queue has no free buffer");
  }
  dropEnqueued();
  mPackets.clear();
}

/// Returns the next buffer that is full or due (or at the end of the run the last one), or null.
Result<InputQueue::Buffer*> InputQueue::fillNext() {
  for (;;) {
    Buffer* const buffer = front();
    if (buffer == nullptr) return nullptr;
    if (mBufferFrame == mFilledFrames) {
      // Nothing was filled in yet; the client may have left what its last use was.
      buffer->shown.byteSize = 0;
      buffer->packets.clear();
    }
    bool isFull = false;
    if (mPcm) {
      isFull = fillWithPcm(*buffer);
    } else {
      auto filled = fillWithPackets(*buffer);
      if (!filled) return filled.failure();
      isFull = *filled;
    }
    const bool isDue = static_cast<double>(mFilledFrames - mBufferFrame) >= mFormat.sampleRate * deliverySeconds;
    if (isFull || isDue) return complete(*buffer);
    bool isAtEnd = false;
    if (auto failure = encodeMore(isAtEnd)) return *std::move(failure);
    if (!isAtEnd) continue;
    const bool isLast = mFinishing && buffer->shown.byteSize > 0;
    return isLast ? complete(*buffer) : nullptr;
  }
}

InputQueue::Buffer* InputQueue::complete(Buffer& buffer) {
  mBufferFrame = mFilledFrames;
  popFront();
  return &buffer;
}

/// Takes more samples or packets out of the ring, the converter and the encoder. Sets `isAtEnd` if there are none now.
std::optional<Failure> InputQueue::encodeMore(bool& isAtEnd) {
  try {
    bool hasMore = takeFromRing();
    if (!hasMore && mFinishing && !mConverterEnded) {
      mConverter->finish(mConverted);
      mConverterEnded = true;
      hasMore = true;
    }
    if (mEncoder && mConverted.frames() > 0) return mEncoder->encode(mConverted, mPackets);
    if (hasMore) return std::nullopt;
    if (mEncoder && mFinishing && !mEncoderEnded) {
      mEncoderEnded = true;
      return mEncoder->finish(mPackets);
    }
    isAtEnd = true;
    return std::nullopt;
  } catch (const std::exception& failure) {
    return Failure{status::ioFailure, std::string("the input could not be converted: ") + failure.what()};
  }
}

/// Converts a block of the ring. Returns false if the ring is empty.
bool InputQueue::takeFromRing() {
  constexpr std::uint32_t blockFrames = 4096;
  const auto convert = [this](const SliceQueue::Block& block) {
    mConverter->convert(block.planes, block.frames, mConverted);
  };
  return mRing->takeUpTo(blockFrames, convert) > 0;
}

/// Returns whether the buffer is full.
bool InputQueue::fillWithPcm(Buffer& buffer) {
  const std::uint32_t frameBytes = mPcm->frameBytes();
  const std::uint32_t room = (buffer.shown.capacity - buffer.shown.byteSize) / frameBytes;
  const auto frames = static_cast<std::uint32_t>(std::min<std::size_t>(room, mConverted.frames()));
  mPcm->encode(mConverted.planes(), 0, frames, static_cast<std::byte*>(buffer.shown.data) + buffer.shown.byteSize);
  mConverted.drop(frames);
  buffer.shown.byteSize += frames * frameBytes;
  mFilledFrames += frames;
  return frames == room;
}

/// Returns whether the buffer is full.
Result<bool> InputQueue::fillWithPackets(Buffer& buffer) {
  for (; !mPackets.empty(); mPackets.pop_front()) {
    const EncodedPacket& packet = mPackets.front();
    const auto size = static_cast<std::uint32_t>(packet.bytes.size());
    if (size > buffer.shown.capacity - buffer.shown.byteSize) {
      if (buffer.packets.empty()) return Failure{status::ioFailure, "a packet is larger than the queue's buffer"};
      return true;
    }
    std::memcpy(static_cast<std::byte*>(buffer.shown.data) + buffer.shown.byteSize, packet.bytes.data(), size);
    buffer.packets.push_back({buffer.shown.byteSize, packet.frames, size});
    buffer.shown.byteSize += size;
    mFilledFrames += packet.frames;
  }
  return false;
}

}  // namespace orvane::host
