// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Worker.h"
#include "platform/backend/BackendModule.h"
#include "platform/backend/MidiQueue.h"
#include "platform/backend/MidiTransport.h"
#include "platform/pipewire/CycleClock.h"
#include "platform/pipewire/MidiCycle.h"
#include "platform/pipewire/Server.h"

struct pw_data_loop;
struct pw_filter;
struct spa_data;
struct spa_hook;
struct spa_io_position;
struct spa_pod_builder;
struct spa_pod_sequence;

namespace orvane::pipewire {

/// The connection, services and counters that the MIDI nodes of a transport share.
struct MidiNodeSetup {
  std::shared_ptr<Connection> connection;
  pw_data_loop* dataLoop = nullptr;  ///< The loop of the data thread.
  backend::ModuleServices services;
  platform::HostTime hostOffset{};             ///< The host clock's time minus CLOCK_MONOTONIC.
  std::optional<std::uint32_t> sliceFrames{};  ///< Frames per cycle to ask for.
  backend::MidiTransportCallback& callback;
  platform::Trigger& sent;                      ///< Fired when everything that was queued has left.
  platform::Trigger& failed;                    ///< Fired when `problem` has become known.
  std::atomic<std::uint64_t>& discontinuities;  ///< Counted up.
};

/// A node of the server's graph with one MIDI port. The node has the name of the client.
///
/// Made and destroyed with the lock of the loop. Once the destructor has returned no callback runs.
class MidiNode {
 public:
  MidiNode(MidiNodeSetup setup, const backend::MidiPortLabels& labels);
  ~MidiNode();
  MidiNode(const MidiNode&) = delete;
  MidiNode& operator=(const MidiNode&) = delete;

  /// Returns the reason why the node cannot run, or `std::nullopt`. With the lock.
  const std::optional<std::string>& problem() const { return mProblem; }
  /// Returns the server's identifier of the port, if the registry has announced it. With the lock.
  std::optional<std::uint32_t> port() const;

  /// Sets the route of the events that arrive, or whose queue is sent.
  void setRoute(platform::MidiObjectRef route) { mRoute = route; }
  /// Sets whether events that arrive are passed on.
  void setListening(bool isListening) { mIsListening = isListening; }
  /// Returns in how many cycles the port had a buffer, which it has while it is linked.
  std::uint64_t cycles() const { return mCycles; }

  /// Queues an event for its time, see `backend::MidiTransport::send`. Returns false if the queue is full. Called by
  /// one thread at a time.
  bool send(const backend::MidiEvent& event);
  /// Drops what is queued, except for an event of which a part has left. Returns the number of events. Waits for a
  /// cycle in progress. With the lock.
  std::size_t discard();
  /// Returns whether everything that was queued has left, or was dropped, and its reader has had its turn.
  bool isIdle() const { return mConfirmed == mQueued.events; }
  /// Returns the events in the queue and those that were dropped.
  backend::MidiBacklog backlog() const;

 private:
  /// Number of cycles after which the reader of a cycle's events has had its turn.
  static constexpr int cyclesToRead = 2;

  struct Trampolines;
  /// Counts events and their bytes; only one thread adds.
  struct Count {
    std::atomic<std::uint64_t> events = 0;
    std::atomic<std::uint64_t> bytes = 0;
    void add(std::size_t size) {
      ++events;
      bytes += size;
    }
    platform::MidiCount value() const { return {events, bytes}; }
  };
  /// A queue of events in order of time.
  struct Lane {
    explicit Lane(std::size_t bytes) : queue(bytes) {}
    backend::MidiQueue queue;
    platform::HostTime lastTime{};  ///< Of the last event that was queued.
    std::uint64_t queued = 0;       ///< Number of events.
    // The data thread's.
    std::uint64_t taken = 0;    ///< Number of events taken out of the queue.
    std::size_t written = 0;    ///< How many bytes of the first event have left.
    std::uint64_t dropEnd = 0;  ///< Events before this number are dropped, unless a part of them has left.
  };

  std::string name() const { return mLabels.client + ":" + mLabels.name; }
  void process(const spa_io_position& position);
  void readCycle(const spa_data& data, const MidiCycle& cycle);
  void deliver(const spa_pod_sequence& sequence, const MidiCycle& cycle);
  void writeCycle(spa_data& data, const MidiCycle& cycle);
  Lane* nextLane(const MidiCycle& cycle);
  bool writeFirst(Lane& lane, spa_pod_builder& builder, std::size_t limit, const MidiCycle& cycle);
  void pop(Lane& lane, Count& count);
  std::size_t dropLanes();
  void confirm();

  const MidiNodeSetup mSetup;
  const backend::MidiPortLabels mLabels;
  std::optional<std::string> mProblem;
  bool mIsConnected = false;  ///< The server has had the node.
  pw_filter* mFilter = nullptr;
  void* mPort = nullptr;
  std::unique_ptr<spa_hook> mListener;

  // Between the data thread and the others.
  Lane mAhead;   ///< Events that are handed over ahead of their time.
  Lane mUrgent;  ///< Events that leave before some that were handed over earlier.
  std::atomic<platform::MidiObjectRef> mRoute{};
  std::atomic<bool> mIsListening = false;
  std::atomic<std::uint64_t> mCycles = 0;
  Count mQueued;
  Count mLeft;
  Count mDropped;
  std::atomic<std::uint64_t> mConfirmed = 0;  ///< How many of the queued events have left for good or were dropped.

  // The data thread's.
  std::optional<CycleClock> mClock;  ///< Empty while the port has no buffers.
  int mQuietCycles = cyclesToRead;   ///< Since the last cycle that wrote something.
};

}  // namespace orvane::pipewire
