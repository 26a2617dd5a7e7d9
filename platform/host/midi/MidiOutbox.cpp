// SPDX-License-Identifier: MIT
#include "platform/host/midi/MidiOutbox.h"

#include <algorithm>

namespace orvane::host {

namespace {

/// The memory that a packet needs in addition to its bytes.
constexpr std::size_t packetOverhead = 128;

}  // namespace

void MidiOutbox::start(platform::Worker& worker, backend::MidiTransport& transport) {
  mWorker = &worker;
  mTransport = &transport;
  mLimits = transport.limits();
}

void MidiOutbox::stop() {
  Packets dropped;
  const std::lock_guard lock(mMutex);
  mIsStopped = true;
  dropped.swap(mQueue);
  mQueuedBytes = 0;
  mWaiting -= dropped.size();
}

bool MidiOutbox::add(platform::MidiObjectRef destination, const platform::PacketList& list) {
  const platform::PacketRange packets(list);
  std::size_t bytes = 0;
  for (const platform::MidiPacket packet : packets) bytes += packet.data.size() + packetOverhead;
  const std::lock_guard lock(mMutex);
  if (mIsStopped || bytes > maxBytes || mQueuedBytes > maxBytes - bytes) return false;
  const HostTime now = mClock.now();
  for (const platform::MidiPacket packet : packets) {
    if (packet.data.empty()) continue;
    const auto time = static_cast<HostTime::rep>(std::min<std::uint64_t>(packet.timeStamp, INT64_MAX));
    insert(std::max(HostTime(time), now), {destination, {packet.data.begin(), packet.data.end()}});
  }
  return true;
}

/// Queues a packet and makes the worker run in time. Called with the mutex locked.
void MidiOutbox::insert(HostTime time, Packet packet) {
  mQueuedBytes += packet.bytes.size() + packetOverhead;
  mQueue.emplace(Place(time, mAdded++), std::move(packet));
  ++mWaiting;
  wakeAt(time - mLimits.lead);
}

/// Makes the worker run at `time` at the latest. Called with the mutex locked.
void MidiOutbox::wakeAt(HostTime time) {
  if (time >= mNextWake) return;
  mNextWake = time;
  mWorker->postAt(time, [this] { drain(); });
}

void MidiOutbox::drain() {
  std::unique_lock lock(mMutex);
  mNextWake = HostTime::max();
  while (!mQueue.empty() && mQueue.begin()->first.first - mLimits.lead <= mClock.now()) {
    auto node = mQueue.extract(mQueue.begin());
    Packet& packet = node.mapped();
    mQueuedBytes -= packet.bytes.size() + packetOverhead;
    lock.unlock();
    const bool isDone = transmit({node.key().first, packet.destination, packet.bytes}, packet.offset);
    lock.lock();
    if (!isDone && !mIsStopped) {
      mQueuedBytes += packet.bytes.size() + packetOverhead;
      mQueue.insert(std::move(node));
      return wakeAt(mClock.now() + mLimits.retry);
    }
    --mWaiting;
  }
  if (!mQueue.empty()) return wakeAt(mQueue.begin()->first.first - mLimits.lead);
  lock.unlock();
  mOnEmpty();
}

/// Hands the bytes of an event to the transport, from `offset` on, in pieces that it takes. Returns false if it is
/// busy; `offset` then tells how far it got.
bool MidiOutbox::transmit(const backend::MidiEvent& event, std::size_t& offset) {
  while (offset < event.bytes.size()) {
    const std::size_t size = std::min(event.bytes.size() - offset, mLimits.maxEventBytes);
    if (!mTransport->send({event.time, event.endpoint, event.bytes.subspan(offset, size)})) return false;
    offset += size;
  }
  mSent.add(1, event.bytes.size());
  return true;
}

void MidiOutbox::sendNow(const backend::MidiEvent& event) {
  std::size_t offset = 0;
  if (mWaiting == 0 && transmit(event, offset)) return;
  const std::lock_guard lock(mMutex);
  if (mIsStopped) return;
  insert(event.time, {event.endpoint, {event.bytes.begin(), event.bytes.end()}, offset});
}

void MidiOutbox::drainAtExit() {
  if (mWorker == nullptr) return;
  // Waits for a run in progress, except on the worker's own thread.
  mWorker->cancel();
  drain();
}

}  // namespace orvane::host
