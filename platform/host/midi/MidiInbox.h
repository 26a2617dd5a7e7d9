// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "platform/MidiReport.h"
#include "platform/MidiService.h"
#include "platform/PacketList.h"
#include "platform/Worker.h"
#include "platform/backend/MidiQueue.h"
#include "platform/backend/MidiTransport.h"
#include "platform/host/midi/ExclusiveJoiner.h"
#include "platform/host/midi/MidiCounter.h"

namespace orvane::host {

/// An input port: the function that receives its lists. Calls of the function and the end of a connection exclude each
/// other; the mutex is recursive, so that the function may end connections itself.
struct MidiInputPort {
  explicit MidiInputPort(platform::MidiReceive itsReceive) : receive(std::move(itsReceive)) {}

  const platform::MidiReceive receive;
  std::recursive_mutex mutex;
  std::atomic<bool> isDisposed = false;
};

/// Delivers the events that arrive from a transport to the input ports that are connected to their sources. The
/// transport's real-time thread puts events into a bounded queue and fires a trigger; a worker takes them out, and
/// makes packet lists of successive events of one source. Thread-safe; only `push` and `wake` are real-time safe.
class MidiInbox {
 public:
  /// `onEmpty` is called on the worker each time that everything was delivered.
  explicit MidiInbox(std::function<void()> onEmpty);

  /// Begins to deliver on `worker`, which must outlive the calls of `wake`. `owner` owns this object; each delivery
  /// keeps it alive, because a receive function may release the host. `joinsExclusive` as in `backend::MidiLimits`.
  void start(platform::Worker& worker, std::weak_ptr<void> owner, bool joinsExclusive);
  /// Ends the deliveries; waits for one in progress, except on the worker itself.
  void stop() { mTrigger.reset(); }

  /// Queues an event, see `backend::MidiTransportCallback::received`. Real-time safe; calls must not overlap.
  bool push(const backend::MidiEvent& event) { return mQueue.push(event); }
  /// Starts the delivery of the queued events. Real-time safe.
  void wake() { mTrigger->fire(); }

  /// Adds an event to the list that is delivered next. Called on the worker only.
  void collect(const backend::MidiEvent& event);
  /// Delivers the list to every port that is connected to its source. Called on the worker only.
  void flush();

  /// Connects a port to a source, or replaces the context of the connection.
  void connect(const std::shared_ptr<MidiInputPort>& port, platform::MidiObjectRef source, void* context);
  /// Ends the connection of a port and a source. Waits for a call of the port's function in progress; the port is
  /// released by the worker soon after. Returns whether there was a connection.
  bool disconnect(const MidiInputPort& port, platform::MidiObjectRef source);
  /// Ends all connections of a port, and returns their sources.
  std::vector<platform::MidiObjectRef> disconnectAll(const MidiInputPort& port);
  /// Returns whether any port is connected to a source.
  bool isConnected(platform::MidiObjectRef source);

  /// Returns whether no event waits for its delivery.
  bool isEmpty() const { return mQueue.isEmpty() && !mIsDelivering; }
  platform::MidiCount delivered() const { return mDelivered.count(); }

 private:
  struct Connection {
    std::shared_ptr<MidiInputPort> port;
    // Protected by the port's mutex.
    void* context = nullptr;
    bool isOpen = true;
  };
  using Connections = std::vector<std::shared_ptr<Connection>>;
  /// The connections of all sources; never changed once it is published.
  using Table = std::unordered_map<std::uint32_t, Connections>;

  void deliver();
  void add(const backend::MidiEvent& event);
  void addToList(const backend::MidiEvent& event);
  void refreshTable();
  static std::shared_ptr<Connection> take(Table& table, const MidiInputPort& port, std::uint32_t source);

  const std::function<void()> mOnEmpty;
  backend::MidiQueue mQueue;
  std::unique_ptr<platform::Trigger> mTrigger;
  std::atomic<bool> mIsDelivering = false;
  MidiCounter mDelivered;

  std::mutex mMutex;
  std::shared_ptr<const Table> mTable = std::make_shared<Table>();
  std::atomic<std::uint64_t> mVersion = 0;  ///< Number of changes of the table.

  // Used by the worker only.
  std::unique_ptr<ExclusiveJoiner> mJoiner;  ///< Null if nothing is to be joined.
  std::shared_ptr<const Table> mUsedTable = mTable;
  std::uint64_t mUsedVersion = 0;
  platform::MidiObjectRef mSource{};  ///< The source of the list.
  const std::size_t mListBytes;
  std::vector<std::uint32_t> mListMemory;  ///< Holds a packet list, which must be aligned to four bytes.
  platform::PacketList& mList;
  std::uint8_t* mCurrentPacket;
};

}  // namespace orvane::host
