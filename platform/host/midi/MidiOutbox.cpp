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
  Lanes dropped;
  const std::lock_guard lock(mMutex);
  mIsStopped = true;
  dropped.swap(mLanes);
  mQueuedBytes = 0;
  for (const auto& [destination, lane] : dropped) mWaiting -= lane.packets.size();
}

bool MidiOutbox::add(Ref destination, const platform::PacketList& list) {
  const platform::PacketRange packets(list);
  std::size_t bytes = 0;
  for (const platform::MidiPacket packet : packets) bytes += packet.data.size() + packetOverhead;
  const std::lock_guard lock(mMutex);
  if (mIsStopped || bytes > maxBytes || mQueuedBytes > maxBytes - bytes) return false;
  const HostTime now = mClock.now();
  for (const platform::MidiPacket packet : packets) {
    if (packet.data.empty()) continue;
    const auto time = static_cast<HostTime::rep>(std::min<std::uint64_t>(packet.timeStamp, INT64_MAX));
    insert(
        destination,
        {.time = std::max(HostTime(time), now), .sender = nullptr, .bytes = {packet.data.begin(), packet.data.end()}});
  }
  return true;
}

/// Queues a packet and makes the worker run in time. Called with the mutex locked.
void MidiOutbox::insert(Ref destination, Packet packet) {
  Lane& lane = mLanes[destination];
  mQueuedBytes += packet.bytes.size() + packetOverhead;
  const Place place(packet.offset > 0 ? HostTime::min() : packet.time, mAdded++);
  lane.packets.emplace(place, std::move(packet));
  ++mWaiting;
  wakeAt(readyTime(lane));
}

/// Makes the worker run at `time` at the latest. Called with the mutex locked.
void MidiOutbox::wakeAt(HostTime time) {
  if (time >= mNextWake) return;
  mNextWake = time;
  mWorker->postAt(time, [this] { drain(); });
}

/// Returns when the first packet of a lane is to be handed out: ahead of its time, unless a later one has been.
MidiOutbox::HostTime MidiOutbox::readyTime(const Lane& lane) const {
  const HostTime time = lane.packets.begin()->second.time;
  return std::max(lane.retryTime, time >= lane.lastTime ? time - mLimits.lead : time);
}

/// Returns the lane with the next packet to hand out. If there is none yet, makes the worker run when there is one.
MidiOutbox::Lanes::iterator MidiOutbox::nextLane() {
  const HostTime now = mClock.now();
  auto next = mLanes.end();
  HostTime wake = HostTime::max();
  for (auto lane = mLanes.begin(); lane != mLanes.end();) {
    if (lane->second.packets.empty()) {
      lane = lane->second.lastTime <= now ? mLanes.erase(lane) : std::next(lane);
      continue;
    }
    const HostTime ready = readyTime(lane->second);
    const bool isFirst =
        next == mLanes.end() || lane->second.packets.begin()->first < next->second.packets.begin()->first;
    if (ready > now) {
      wake = std::min(wake, ready);
    } else if (isFirst) {
      next = lane;
    }
    ++lane;
  }
  if (next == mLanes.end() && wake != HostTime::max()) wakeAt(wake);
  return next;
}

void MidiOutbox::drain() {
  {
    const std::lock_guard transmitting(mTransmitMutex);
    std::unique_lock lock(mMutex);
    mNextWake = HostTime::max();
    for (auto lane = nextLane(); lane != mLanes.end(); lane = nextLane()) handOut(lock, lane);
    if (mWaiting > 0) return;
  }
  mOnEmpty();
}

/// Hands out the first packet of a lane. Called with both mutexes locked; unlocks `lock` meanwhile.
void MidiOutbox::handOut(std::unique_lock<std::mutex>& lock, Lanes::iterator lane) {
  const Ref destination = lane->first;
  auto node = lane->second.packets.extract(lane->second.packets.begin());
  Packet& packet = node.mapped();
  const std::size_t size = packet.bytes.size() + packetOverhead;
  mQueuedBytes -= size;
  lock.unlock();
  const bool isDone = transmit({packet.time, destination, packet.bytes}, packet.offset);
  lock.lock();
  if (isDone || mIsStopped) --mWaiting;
  if (mIsStopped) return;
  Lane& same = mLanes[destination];
  if (isDone) {
    same.lastTime = std::max(same.lastTime, packet.time);
    return;
  }
  if (packet.offset > 0) node.key().first = HostTime::min();
  same.retryTime = mClock.now() + mLimits.retry;
  same.packets.insert(std::move(node));
  mQueuedBytes += size;
}

/// Hands the bytes of an event to the transport, from `offset` on, in pieces that it takes. Returns false if it is
/// busy; `offset` then tells how far it got.
bool MidiOutbox::transmit(const backend::MidiEvent& event, std::size_t& offset) {
  while (offset < event.bytes.size()) {
    const std::size_t size = std::min(event.bytes.size() - offset, mLimits.maxEventBytes);
    if (!mTransport->send({event.time, event.endpoint, event.bytes.subspan(offset, size)})) return false;
    offset += size;
  }
  mHandedOut.add(1, event.bytes.size());
  return true;
}

void MidiOutbox::sendNow(const backend::MidiEvent& event, const void* sender) {
  std::size_t offset = 0;
  const std::lock_guard transmitting(mTransmitMutex);
  if (mWaiting == 0 && transmit(event, offset)) return;
  const std::lock_guard lock(mMutex);
  if (mIsStopped) return;
  insert(event.endpoint, {event.time, sender, {event.bytes.begin(), event.bytes.end()}, offset});
}

std::size_t MidiOutbox::takeBack(Ref destination, const void* sender) {
  const std::lock_guard transmitting(mTransmitMutex);
  std::size_t taken = mLimits.lead > HostTime::zero() ? mTransport->discard(destination) : 0;
  const std::lock_guard lock(mMutex);
  const auto lane = mLanes.find(destination);
  if (lane == mLanes.end()) return taken;
  std::erase_if(lane->second.packets, [&](const auto& entry) {
    const Packet& packet = entry.second;
    // What the transport has a part of is sent to its end.
    if (packet.sender != sender || packet.offset > 0) return false;
    taken += pieces(packet.bytes.size());
    mQueuedBytes -= packet.bytes.size() + packetOverhead;
    --mWaiting;
    return true;
  });
  return taken;
}

void MidiOutbox::drainAtExit() {
  if (mWorker == nullptr) return;
  // Waits for a run in progress, except on the worker's own thread.
  mWorker->cancel();
  drain();
}

bool MidiOutbox::isEmpty(Ref destination) {
  // A packet that is being handed out is in no lane.
  const std::lock_guard transmitting(mTransmitMutex);
  const std::lock_guard lock(mMutex);
  const auto lane = mLanes.find(destination);
  return lane == mLanes.end() || lane->second.packets.empty();
}

std::size_t MidiOutbox::numberDue() {
  const std::lock_guard lock(mMutex);
  const HostTime now = mClock.now();
  std::size_t count = 0;
  for (const auto& [destination, lane] : mLanes) {
    count +=
        static_cast<std::size_t>(std::distance(lane.packets.begin(), lane.packets.upper_bound(Place(now, UINT64_MAX))));
  }
  return count;
}

}  // namespace orvane::host
