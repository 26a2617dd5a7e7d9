// SPDX-License-Identifier: MIT
#include "platform/host/queues/OutputQueue.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/Status.h"
#include "platform/host/Bytes.h"
#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/RateConverter.h"

namespace orvane::host {

using platform::Failure;
using platform::PacketDescription;
using platform::QueueBuffer;
using platform::Status;
namespace status = platform::status;

namespace {

/// Frames of linear PCM that are decoded at a time.
constexpr std::size_t blockFrames = 4096;

}  // namespace

Result<std::shared_ptr<HostQueue>> OutputQueue::create(std::shared_ptr<HostContext> context,
                                                       std::shared_ptr<AudioHub> hub, platform::BufferQueue handle,
                                                       const Client& client) {
  if (auto failure = whyNotShape(client.format)) return *std::move(failure);
  std::shared_ptr<OutputQueue> queue(new OutputQueue(std::move(context), std::move(hub), handle, client));
  if (client.format.formatID == platform::linearPcmFormatID) {
    queue->mPcm = PcmCoding::make(client.format);
    if (queue->mPcm) return std::shared_ptr<HostQueue>(std::move(queue));
    return Failure{
        status::unsupportedFormat,
        "queues take interleaved linear PCM of 1 to 64 channels, integers of 1 to 32 bits or floats of 32 or "
        "64 bits"};
  }
  auto decoder = makeDecoder(client.format);
  if (!decoder) return decoder.failure();
  queue->mDecoder = std::move(*decoder);
  return std::shared_ptr<HostQueue>(std::move(queue));
}

OutputQueue::OutputQueue(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub,
                         platform::BufferQueue handle, const Client& client)
    : HostQueue(std::move(context), std::move(hub), handle, client.context),
      mClient(client),
      mDecoded(client.format.channelsPerFrame) {
  mWorkTrigger = mWorker->makeTrigger([this] { work(); });
  mEndTrigger = mWorker->makeTrigger([this] { playedOut(); });
}

OutputQueue::~OutputQueue() = default;

// ---- control

std::optional<Failure> OutputQueue::setCookie(std::span<const std::byte> cookie) {
  if (!mDecoder) return Failure{status::wrongState, "linear PCM has no cookie"};
  if (auto failure = mDecoder->setCookie(cookie)) return failure;
  mCookie.assign(cookie.begin(), cookie.end());
  return std::nullopt;
}

bool OutputQueue::accepts(const QueueBuffer& buffer, std::span<const PacketDescription> packets) const {
  if (buffer.byteSize > buffer.capacity) return false;
  if (mPcm) return buffer.byteSize % mPcm->frameBytes() == 0;
  return lieWithin(packets, buffer.byteSize);
}

void OutputQueue::bufferArrived() {
  if (mRunning) mWorkTrigger->fire();
}

std::optional<Failure> OutputQueue::start() {
  if (mRunning) return std::nullopt;
  if (auto failure = whyNotStart(false, true)) return failure;
  {
    const std::lock_guard lock(mMutex);
    // What a refused start has decoded is still to be played.
    if (auto failure = mPrimed ? changeFormat(mHub->format()) : prepare(mHub->format())) return failure;
    mPrimed = true;
    mFailed = false;
    // The first slice must find its samples.
    if (auto failure = fill()) return failure;
    ++mRun;
  }
  mRunning = true;
  if (auto failure = mHub->add(*this)) {
    mRunning = false;
    return failure;
  }
  announceRunning();
  mWorkTrigger->fire();
  return std::nullopt;
}

Status OutputQueue::stop(bool immediate) {
  if (!immediate) {
    const std::lock_guard lock(mMutex);
    mEnding = true;
    if (mRunning) mWorkTrigger->fire();
    return status::success;
  }
  const bool wasRunning = mRunning;
  if (wasRunning) mHub->remove(*this);
  const std::lock_guard lock(mMutex);
  resetRun();
  mRunning = false;
  if (wasRunning) announceRunning();
  return status::success;
}

/// Forgets everything that was enqueued. Called with the mutex locked, while the device does not call.
void OutputQueue::resetRun() {
  dropEnqueued();
  mUsedUp.clear();
  mDecoded.clear();
  if (mConverted) mConverted->clear();
  mPlace = 0;
  mEnding = mPrimed = false;
  // A compressed stream starts anew.
  if (mDecoder && !mCookie.empty()) mDecoder->setCookie(mCookie);
}

/// Makes everything that depends on the hardware's format.
std::optional<Failure> OutputQueue::prepare(const backend::DeviceFormat& hardware) {
  const EdgeFormat from{mClient.format.channelsPerFrame, mClient.format.sampleRate};
  const EdgeFormat to{hardware.outputs, hardware.sampleRate};
  if (!RateConverter::canConvert(from.sampleRate, to.sampleRate)) {
    return Failure{status::unsupportedFormat,
                   "the queue's rate differs from the hardware's by more than a factor of 256"};
  }
  try {
    mConverter = std::make_unique<BlockConverter>(from, to);
    mConverted = std::make_unique<PlanarFifo>(to.channels);
    mRing = std::make_unique<PlaybackRing>(to.channels, to.sampleRate);
    mSlice = std::make_unique<AlignedSamples>(to.channels, backend::DeviceFormat::maxSliceFrames);
  } catch (const std::bad_alloc&) {
    return Failure{status::ioFailure, "there is not enough memory to play the queue"};
  } catch (const std::runtime_error& failure) {
    return Failure{status::unsupportedFormat, failure.what()};
  }
  mHardware = hardware;
  mFlushed = mEndAnnounced = false;
  return std::nullopt;
}

std::optional<Failure> OutputQueue::deviceChanged(const backend::DeviceFormat& format) {
  if (format == mHardware) return std::nullopt;
  if (auto failure = mSession.whyNot(format, false, true, "BufferQueueService::start")) return failure;
  const std::lock_guard lock(mMutex);
  if (auto failure = changeFormat(format)) return failure;
  return fill();
}

/// Converts what was decoded for the old format of the hardware, and goes on in the new one. Called with the mutex
/// locked, while the device does not call.
std::optional<Failure> OutputQueue::changeFormat(const backend::DeviceFormat& format) {
  if (format == mHardware) return std::nullopt;
  try {
    const EdgeFormat before{mHardware.outputs, mHardware.sampleRate};
    BlockConverter change(before, {format.outputs, format.sampleRate});
    PlanarFifo left(format.outputs);
    mRing->takeAll([&](const SliceQueue::Block& block) { change.convert(block.planes, block.frames, left); });
    const bool wasFlushed = mFlushed;
    if (!wasFlushed) mConverter->finish(*mConverted);
    change.convert(mConverted->planes(), mConverted->frames(), left);
    change.finish(left);
    if (auto failure = prepare(format)) return failure;
    *mConverted = std::move(left);
    mFlushed = wasFlushed;
    if (wasFlushed) mRing->endAfter(mConverted->frames());
    return std::nullopt;
  } catch (const std::exception& failure) {
    return Failure{status::ioFailure, std::string("the queue's sound could not be converted: ") + failure.what()};
  }
}

// ---- the worker

/// Fills the ring and gives used-up buffers back, until the client has no more or the ring is full.
void OutputQueue::work() {
  std::vector<QueueBuffer*> returned;
  do {
    std::optional<Failure> failure;
    {
      const std::lock_guard lock(mMutex);
      if (!mRunning || mFailed) return;
      failure = fill();
      returned.swap(mUsedUp);
      mUsedUp.clear();
    }
    if (failure) return reportConverterError(*failure);
    for (QueueBuffer* buffer : returned) mClient.callback(mClientContext, mHandle, buffer);
  } while (!returned.empty());
}

/// Decodes buffers until the ring is full or there are no more.
std::optional<Failure> OutputQueue::fill() {
  try {
    for (;;) {
      mRing->fillFrom(*mConverted);
      if (mConverted->frames() > 0 || mFlushed) return std::nullopt;
      if (front() == nullptr && !mEnding) return std::nullopt;
      if (front() == nullptr) {
        flush();
      } else if (auto failure = decodeNext()) {
        return failure;
      }
    }
  } catch (const std::bad_alloc&) {
    return Failure{status::ioFailure, "there is not enough memory to decode"};
  } catch (const std::runtime_error& failure) {
    return Failure{status::ioFailure, failure.what()};
  }
}

/// Decodes and converts a part of the first buffer.
std::optional<Failure> OutputQueue::decodeNext() {
  if (auto failure = decodeFrom(*front())) return failure;
  const std::size_t frames = mDecoded.frames();
  mConverter->convert(mDecoded.planes(), frames, *mConverted);
  mDecoded.drop(frames);
  return std::nullopt;
}

std::optional<Failure> OutputQueue::decodeFrom(Buffer& buffer) {
  if (mPcm) {
    mPlace += decodePcm(buffer);
    if (mPlace == buffer.shown.byteSize) useUp(buffer);
    return std::nullopt;
  }
  if (mPlace < buffer.packets.size()) {
    const PacketDescription& packet = buffer.packets[mPlace++];
    const auto* const bytes = static_cast<const std::byte*>(buffer.shown.data) + packet.startOffset;
    if (auto failure = mDecoder->decode({bytes, packet.byteSize}, packet.framesInPacket, mDecoded)) return failure;
  }
  if (mPlace == buffer.packets.size()) useUp(buffer);
  return std::nullopt;
}

/// Decodes a block of linear PCM. Returns its size in bytes.
std::size_t OutputQueue::decodePcm(const Buffer& buffer) {
  const std::size_t left = (buffer.shown.byteSize - mPlace) / mPcm->frameBytes();
  const auto frames = static_cast<std::uint32_t>(std::min(left, blockFrames));
  mPcm->decode(static_cast<const std::byte*>(buffer.shown.data) + mPlace, frames, mDecoded.room(frames));
  mDecoded.commit(frames);
  return std::size_t{frames} * mPcm->frameBytes();
}

void OutputQueue::useUp(Buffer& buffer) {
  mPlace = 0;
  mUsedUp.push_back(&buffer.shown);
  popFront();
}

/// Takes the last frames out of the converter. The end is known to the device callback before it can take the last
/// frame.
void OutputQueue::flush() {
  mConverter->finish(*mConverted);
  mFlushed = true;
  mRing->endAfter(mConverted->frames());
  mRing->fillFrom(*mConverted);
}

/// Leaves the hub after the last frame was played, unless the queue was stopped or started again meanwhile.
void OutputQueue::playedOut() {
  const std::uint64_t run = mEndedRun;
  const auto isCurrent = [weak = weak_from_this(), run] {
    const auto self = std::static_pointer_cast<OutputQueue>(weak.lock());
    return self && self->mRunning && self->mRun == run;
  };
  mHub->removeSoon(*this, isCurrent, [weak = weak_from_this(), run] {
    const auto self = std::static_pointer_cast<OutputQueue>(weak.lock());
    if (self) self->mWorker->post([queue = self.get(), run] { queue->finish(run); });
  });
}

void OutputQueue::finish(std::uint64_t run) {
  const std::lock_guard lock(mMutex);
  if (!mRunning || mRun != run) return;
  resetRun();
  mRunning = false;
  announceRunning();
}

// ---- the device callback

const char* OutputQueue::deviceSlice(const HubSlice& slice, OutputMix& mix) {
  if (mFailed) return "the packets of a buffer queue could not be decoded";
  // The slice behind the last frame is silent: a device that is stopped at once would lose what it has not played yet.
  if (mRing->isPlayedOut()) {
    if (!mEndAnnounced) {
      mEndedRun = mRun.load();
      mEndTrigger->fire();
    }
    mEndAnnounced = true;
    return nullptr;
  }
  const std::uint32_t taken = mRing->take(slice.frames, mSlice->planes());
  if (mRing->beganToStarve()) mHub->countDiscontinuity();
  if (mRing->isLow()) mWorkTrigger->fire();
  if (taken == 0) return nullptr;
  for (std::uint32_t channel = 0; channel < mix.channels(); ++channel) mix.add(channel, mSlice->plane(channel));
  return nullptr;
}

}  // namespace orvane::host
