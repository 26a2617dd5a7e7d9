// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
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
/// which they came. Thread-safe, except that `sendNow` is called on the outbox's worker only; not real-time safe.
class MidiOutbox {
  using HostTime = platform::HostTime;

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
  bool add(platform::MidiObjectRef destination, const platform::PacketList& list);
  /// Hands out an event that is due; queues it if packets that are due wait or the transport is busy.
  void sendNow(const backend::MidiEvent& event);
  /// Hands out the packets that are due, without the worker. Called at the exit of the process.
  void drainAtExit();

  bool isEmpty() const { return mWaiting == 0; }
  platform::MidiCount sent() const { return mSent.count(); }

 private:
  struct Packet {
    platform::MidiObjectRef destination{};
    std::vector<std::uint8_t> bytes;
    std::size_t offset = 0;  ///< How many of the bytes the transport has taken.
  };
  using Place = std::pair<HostTime, std::uint64_t>;
  using Packets = std::map<Place, Packet>;

  void insert(HostTime time, Packet packet);
  void wakeAt(HostTime time);
  void drain();
  bool transmit(const backend::MidiEvent& event, std::size_t& offset);

  const platform::Clock& mClock;
  const std::function<void()> mOnEmpty;
  platform::Worker* mWorker = nullptr;
  backend::MidiTransport* mTransport = nullptr;
  backend::MidiLimits mLimits;

  std::mutex mMutex;
  bool mIsStopped = false;
  Packets mQueue;
  std::uint64_t mAdded = 0;
  std::size_t mQueuedBytes = 0;
  HostTime mNextWake = HostTime::max();   ///< The earliest time for which the worker has a task.
  std::atomic<std::size_t> mWaiting = 0;  ///< Number of packets in the queue or in the hand of `drain`.
  MidiCounter mSent;
};

}  // namespace orvane::host
