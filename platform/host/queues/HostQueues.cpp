// SPDX-License-Identifier: MIT
#include "platform/host/queues/HostQueues.h"

#include <cstddef>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#include "platform/host/queues/InputQueue.h"
#include "platform/host/queues/OutputQueue.h"
#include "platform/host/time/NoWait.h"

namespace orvane::host {

using platform::BufferQueue;
using platform::Failure;
using platform::QueueBuffer;
using platform::QueueProperty;
using platform::Status;
namespace status = platform::status;

namespace {

const GatedCall createInputCall("BufferQueueService::createInput");
const GatedCall createOutputCall("BufferQueueService::createOutput");
const GatedCall propertySizeCall("BufferQueueService::propertySize");
const GatedCall propertyCall("BufferQueueService::property");
const GatedCall setPropertyCall("BufferQueueService::setProperty");
const GatedCall addPropertyListenerCall("BufferQueueService::addPropertyListener");
const GatedCall allocateBufferCall("BufferQueueService::allocateBuffer");
const GatedCall enqueueBufferCall("BufferQueueService::enqueueBuffer");
const GatedCall startCall("BufferQueueService::start");
const GatedCall stopCall("BufferQueueService::stop");
const GatedCall disposeCall("BufferQueueService::dispose");

}  // namespace

HostQueues::HostQueues(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub)
    : mContext(std::move(context)), mHub(std::move(hub)) {}

HostQueues::~HostQueues() {
  // The host may be destroyed inside one of its own tasks, where queues cannot be stopped while the device is running.
  mHub->shutDown();
  for (const auto& [handle, queue] : mQueues) queue->dispose();
}

Status HostQueues::refuse(const GatedCall& call, Failure failure) const {
  failure.call = call.name();
  return mContext->refuse(std::move(failure));
}

template <typename Queue, typename Callback>
Status HostQueues::create(const GatedCall& call, const platform::StreamDescription& format, Callback callback,
                          void* context, BufferQueue& queue) {
  queue = BufferQueue::none;
  if (const auto refusal = mContext->refusalOf(call)) return *refusal;
  if (callback == nullptr) return status::badParameter;
  if (auto failure = mHub->checkAvailable()) return refuse(call, *std::move(failure));
  const std::lock_guard lock(mMutex);
  const auto handle = static_cast<BufferQueue>(++mLastQueue);
  try {
    auto made = Queue::create(mContext, mHub, handle, {format, callback, context});
    if (!made) return refuse(call, made.failure());
    mQueues[handle] = std::move(*made);
  } catch (const std::bad_alloc&) {
    return refuse(call, {status::ioFailure, "there is not enough memory for a queue"});
  } catch (const std::system_error& failure) {
    return refuse(call, {status::ioFailure, std::string("no thread could be started for a queue: ") + failure.what()});
  }
  queue = handle;
  return status::success;
}

Status HostQueues::createInput(const platform::StreamDescription& format, platform::QueueInputCallback callback,
                               void* context, BufferQueue& queue) {
  return create<InputQueue>(createInputCall, format, callback, context, queue);
}

Status HostQueues::createOutput(const platform::StreamDescription& format, platform::QueueOutputCallback callback,
                                void* context, BufferQueue& queue) {
  return create<OutputQueue>(createOutputCall, format, callback, context, queue);
}

std::shared_ptr<HostQueue> HostQueues::find(BufferQueue queue) const {
  const std::lock_guard lock(mMutex);
  const auto found = mQueues.find(queue);
  return found == mQueues.end() ? nullptr : found->second;
}

/// Performs an operation on a queue unless the call is refused or the queue is unknown.
template <typename Operation>
Status HostQueues::with(const GatedCall& call, BufferQueue queue, Operation operation) {
  forbidInsideCallback(call.name().data());
  if (const auto refusal = mContext->refusalOf(call)) return *refusal;
  const std::shared_ptr<HostQueue> found = find(queue);
  return found ? operation(*found) : status::badParameter;
}

Status HostQueues::propertySize(BufferQueue queue, QueueProperty property, std::uint32_t& byteSize) {
  return with(propertySizeCall, queue, [&](HostQueue& found) { return found.propertySize(property, byteSize); });
}

Status HostQueues::property(BufferQueue queue, QueueProperty property, void* data, std::uint32_t& byteSize) {
  return with(propertyCall, queue, [&](HostQueue& found) { return found.property(property, data, byteSize); });
}

Status HostQueues::setProperty(BufferQueue queue, QueueProperty property, const void* data, std::uint32_t byteSize) {
  if (data == nullptr) return status::badParameter;
  const std::span value(static_cast<const std::byte*>(data), byteSize);
  return with(setPropertyCall, queue, [&](HostQueue& found) { return found.setProperty(property, value); });
}

Status HostQueues::addPropertyListener(BufferQueue queue, QueueProperty property,
                                       platform::QueuePropertyListener listener, void* context) {
  return with(addPropertyListenerCall, queue,
              [&](HostQueue& found) { return found.addListener(property, listener, context); });
}

Status HostQueues::allocateBuffer(BufferQueue queue, std::uint32_t byteSize, QueueBuffer*& buffer) {
  return with(allocateBufferCall, queue, [&](HostQueue& found) { return found.allocate(byteSize, buffer); });
}

Status HostQueues::enqueueBuffer(BufferQueue queue, QueueBuffer* buffer, std::uint32_t packetCount,
                                 const platform::PacketDescription* packets) {
  if (buffer == nullptr) return status::badParameter;
  const std::span descriptions(packets, packets == nullptr ? 0 : packetCount);
  return with(enqueueBufferCall, queue, [&](HostQueue& found) { return found.enqueue(buffer, descriptions); });
}

Status HostQueues::start(BufferQueue queue) {
  return with(startCall, queue, [&](HostQueue& found) {
    auto failure = found.start();
    return failure ? refuse(startCall, *std::move(failure)) : status::success;
  });
}

Status HostQueues::stop(BufferQueue queue, bool immediate) {
  return with(stopCall, queue, [&](HostQueue& found) { return found.stop(immediate); });
}

Status HostQueues::dispose(BufferQueue queue) {
  if (const auto refusal = mContext->refusalOf(disposeCall)) return *refusal;
  const std::shared_ptr<HostQueue> disposed = find(queue);
  if (!disposed) return status::badParameter;
  // Until the last callback has returned, the client may still call with the handle.
  disposed->dispose();
  const std::lock_guard lock(mMutex);
  mQueues.erase(queue);
  return status::success;
}

}  // namespace orvane::host
