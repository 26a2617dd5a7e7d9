// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/Clock.h"
#include "platform/MidiReport.h"
#include "platform/MidiService.h"
#include "platform/Worker.h"
#include "platform/backend/MidiTransport.h"
#include "platform/host/midi/MidiCounter.h"

namespace orvane::host {

/// The packets that wait until they are handed to a transport: in order of time, packets of one time in the order in
/// which they came. A destination that takes nothing does not delay the others. Thread-safe; not real-time safe.
class MidiOutbox {
  using HostTime = platform::HostTime;
  using Ref = platform::MidiObjectRef;

 public:
  /// The maximum number of bytes that may wait.
  static constexpr std::size_t maxBytes = std::size_t{64} << 20;

  /// `onEmpty` is called on the worker each time that nothing waits any more.
  MidiOutbox(const platform::Clock& clock, std::function<void()> onEmpty)
      : mClock(clock), mOnEmpty(std::move(onEmpty)) {}

  /// Begins to hand out packets. Both arguments must live until `stop`.
  void start(platform::Worker& worker, backend::MidiTransport& transport);
  /// Drops all packets and takes no more.
  void stop();

  /// Queues the packets of a list. A time in the past counts as now. Returns false, and queues nothing, if more than
  /// `maxBytes` would wait or the outbox has been stopped.
  bool add(Ref destination, const platform::PacketList& list);
  /// Hands out an event that is due; queues it if packets wait or the transport is busy. `sender` identifies the caller
  /// for `takeBack`.
  void sendNow(const backend::MidiEvent& event, const void* sender);
  /// Drops the packets of a sender that have not begun to leave, the transport's too. The sender must be the only one
  /// whose packets the transport has for this destination. Returns their number, long packets as their pieces.
  std::size_t takeBack(Ref destination, const void* sender);
  /// Hands out the packets that are due, without the worker. Called at the exit of the process.
  void drainAtExit();

  bool isEmpty() const { return mWaiting == 0; }
  /// Returns whether no packet waits for a destination. Waits for a run of the worker.
  bool isEmpty(Ref destination);
  /// Returns the number of packets that wait although they are due.
  std::size_t numberDue();
  /// Returns the number of events in which the transport gets a packet of this size.
  std::size_t pieces(std::size_t bytes) const { return (bytes + mLimits.maxEventBytes - 1) / mLimits.maxEventBytes; }
  /// Returns the packets that the transport has taken.
  platform::MidiCount handedOut() const { return mHandedOut.count(); }

 private:
  struct Packet {
    HostTime time{};
    const void* sender = nullptr;
    std::vector<std::uint8_t> bytes = {};
    std::size_t offset = 0;  ///< How many of the bytes the transport has taken.
  };
  /// The place of a packet in the order of a destination. One of which the transport has a part comes first.
  using Place = std::pair<HostTime, std::uint64_t>;
  /// The packets for a destination.
  struct Lane {
    std::map<Place, Packet> packets = {};
    HostTime lastTime = HostTime::min();  ///< The latest time of the packets that were handed out.
    HostTime retryTime = HostTime::min();
  };
  using Lanes = std::map<Ref, Lane>;

  void insert(Ref destination, Packet packet);
  void wakeAt(HostTime time);
  HostTime readyTime(const Lane& lane) const;
  Lanes::iterator nextLane();
  void drain();
  void handOut(std::unique_lock<std::mutex>& lock, Lanes::iterator lane);
  bool transmit(const backend::MidiEvent& event, std::size_t& offset);

  const platform::Clock& mClock;
  const std::function<void()> mOnEmpty;
  platform::Worker* mWorker = nullptr;
  backend::MidiTransport* mTransport = nullptr;
  backend::MidiLimits mLimits;

  std::mutex mTransmitMutex;  ///< Held while packets are handed out or taken back. Taken before the other mutex.
  std::mutex mMutex;
  bool mIsStopped = false;
  Lanes mLanes;
  std::uint64_t mAdded = 0;
  std::size_t mQueuedBytes = 0;
  HostTime mNextWake = HostTime::max();   ///< The earliest time for which the worker has a task.
  std::atomic<std::size_t> mWaiting = 0;  ///< Number of packets in the lanes or in the hand of `drain`.
  MidiCounter mHandedOut;
};

}  // namespace orvane::host
