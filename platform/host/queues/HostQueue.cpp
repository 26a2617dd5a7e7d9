// SPDX-License-Identifier: MIT
#include "platform/host/queues/HostQueue.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <new>
#include <string>

#include "platform/Log.h"
#include "platform/NumberText.h"
#include "platform/Scheduler.h"
#include "platform/host/Bytes.h"
#include "platform/host/files/LayoutBytes.h"

namespace orvane::host {

using platform::Failure;
using platform::PacketDescription;
using platform::QueueBuffer;
using platform::QueueProperty;
using platform::Status;
namespace status = platform::status;

std::optional<Failure> whyNotShape(const platform::StreamDescription& format) {
  const bool isCompressed = format.formatID != platform::linearPcmFormatID;
  const double rate = format.sampleRate;
  const bool isRate = (rate > 0 && std::isfinite(rate)) || (isCompressed && rate == 0);
  const std::uint32_t channels = format.channelsPerFrame;
  if (isRate && channels >= 1 && channels <= backend::DeviceFormat::maxChannels) return std::nullopt;
  return Failure{status::unsupportedFormat, std::to_string(channels) + " channels at " + platform::numberText(rate) +
                                                " Hz; queues take 1 to 64 channels at a rate above 0"};
}

HostQueue::HostQueue(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub, platform::BufferQueue handle,
                     void* clientContext)
    : mContext(std::move(context)),
      mHub(std::move(hub)),
      mHandle(handle),
      mClientContext(clientContext),
      mSession(mContext),
      mWorker(mContext->scheduler->makeWorker("buffer queue")) {}

void HostQueue::dispose() {
  stop(true);
  mWorker->cancel();
}

// ---- buffers

Status HostQueue::allocate(std::uint32_t byteSize, QueueBuffer*& buffer) {
  constexpr std::uint32_t maxBytes = 256 << 20;
  buffer = nullptr;
  if (byteSize == 0 || byteSize > maxBytes) return status::badParameter;
  try {
    auto made = std::make_unique<Buffer>();
    made->memory = std::make_unique<std::byte[]>(byteSize);
    made->shown = {.capacity = byteSize, .data = made->memory.get(), .byteSize = 0};
    const std::lock_guard lock(mMutex);
    mEnqueued.reserve(mBuffers.size() + 1);
    buffer = &made->shown;
    mBuffers.push_back(std::move(made));
    return status::success;
  } catch (const std::bad_alloc&) {
    return status::ioFailure;
  }
}

Status HostQueue::enqueue(QueueBuffer* buffer, std::span<const PacketDescription> packets) {
  const std::lock_guard lock(mMutex);
  const auto own = std::ranges::find_if(mBuffers, [buffer](const auto& each) { return &each->shown == buffer; });
  if (own == mBuffers.end() || !accepts(*buffer, packets)) return status::badParameter;
  if ((*own)->isEnqueued) return status::wrongState;
  (*own)->packets.assign(packets.begin(), packets.end());
  (*own)->isEnqueued = true;
  mEnqueued.push_back(own->get());
  bufferArrived();
  return status::success;
}

void HostQueue::popFront() {
  mEnqueued.front()->isEnqueued = false;
  mEnqueued.erase(mEnqueued.begin());
}

void HostQueue::dropEnqueued() {
  while (!mEnqueued.empty()) popFront();
}

// ---- properties

Status HostQueue::addListener(QueueProperty property, platform::QueuePropertyListener listener, void* context) {
  if (listener == nullptr || (property != QueueProperty::isRunning && property != QueueProperty::converterError)) {
    return status::badParameter;
  }
  const std::lock_guard lock(mMutex);
  mListeners.push_back({property, listener, context});
  return status::success;
}

std::optional<std::vector<std::byte>> HostQueue::read(QueueProperty property) {
  const std::lock_guard lock(mMutex);
  switch (property) {
    case QueueProperty::isRunning:
      return bytesOf(std::uint32_t{mRunning});
    case QueueProperty::streamDescription:
      return bytesOf(format());
    case QueueProperty::magicCookie:
      return cookie();
    case QueueProperty::maxOutputPacketSize:
      return bytesOf(maxPacketBytes());
    case QueueProperty::converterError:
      return bytesOf(mConverterError);
    case QueueProperty::clientSession:
      return bytesOf(mSession.labels().value_or(backend::SessionLabels{}).identifier);
    case QueueProperty::channelLayout:
      return mLayout;
  }
  return std::nullopt;
}

Status HostQueue::propertySize(QueueProperty property, std::uint32_t& byteSize) {
  const auto value = read(property);
  if (!value) return status::badParameter;
  byteSize = static_cast<std::uint32_t>(value->size());
  return status::success;
}

Status HostQueue::property(QueueProperty property, void* data, std::uint32_t& byteSize) {
  const auto value = read(property);
  if (!value || byteSize < value->size() || (data == nullptr && !value->empty())) return status::badParameter;
  byteSize = static_cast<std::uint32_t>(value->size());
  if (!value->empty()) std::memcpy(data, value->data(), value->size());
  return status::success;
}

Status HostQueue::setProperty(QueueProperty property, std::span<const std::byte> value) {
  if (property == QueueProperty::clientSession) {
    std::uint32_t identifier = 0;
    if (value.size() != sizeof identifier) return status::badParameter;
    std::memcpy(&identifier, value.data(), sizeof identifier);
    return mSession.bind(identifier);
  }
  const std::lock_guard lock(mMutex);
  if (property == QueueProperty::channelLayout) {
    if (!isLayout(value)) return status::badParameter;
    mLayout.assign(value.begin(), value.end());
    return status::success;
  }
  if (property != QueueProperty::magicCookie) return status::badParameter;
  if (mRunning) return status::wrongState;
  const auto failure = setCookie(value);
  return failure ? failure->status : status::success;
}

// ---- the run

std::optional<Failure> HostQueue::whyNotStart(bool input, bool output) const {
  if (auto failure = mHub->checkAvailable()) return failure;
  const backend::DeviceFormat hardware = mHub->format();
  if (hardware.sampleRate <= 0) return Failure{status::noDevice, "the hardware reports no sample rate"};
  return mSession.whyNot(hardware, input, output, "BufferQueueService::start");
}

void HostQueue::announceRunning() {
  mWorker->post([this] { notify(QueueProperty::isRunning); });
}

void HostQueue::reportConverterError(const Failure& failure) {
  {
    const std::lock_guard lock(mMutex);
    mConverterError = failure.status;
    mFailure = failure;
  }
  mContext->log->write(platform::LogLevel::error, "a buffer queue failed: " + failure.reason);
  mFailed = true;
  notify(QueueProperty::converterError);
}

void HostQueue::notify(QueueProperty property) {
  std::vector<Listener> listeners;
  {
    const std::lock_guard lock(mMutex);
    std::ranges::copy_if(mListeners, std::back_inserter(listeners),
                         [property](const Listener& each) { return each.property == property; });
  }
  for (const Listener& each : listeners) each.call(each.context, mHandle, property);
}

}  // namespace orvane::host
