// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/MidiReport.h"
#include "platform/MidiService.h"
#include "platform/PlatformError.h"
#include "platform/Value.h"
#include "platform/Worker.h"

namespace orvane::backend {

/// The state of an object of the inventory: a device, entity or endpoint. A property that is empty cannot be read.
struct MidiObject {
  /// The handle, which the back end chooses: from 1 to 0x7FFFFFFF, and never again used for another object. The host
  /// uses greater numbers for clients and ports.
  platform::MidiObjectRef ref{};
  platform::MidiObjectRef parent{};  ///< `none` for devices. Parents stand before their children.
  platform::MidiObjectKind kind = platform::MidiObjectKind::other;
  bool isPresent =
      true;  ///< Whether the object is listed. Objects below one that is not present are not listed either.
  std::optional<std::int32_t> uniqueIdentifier = {};
  std::optional<std::int32_t> driverVersion = {};
  std::optional<std::int32_t> offline = {};
  std::optional<std::string> name = {};
  std::optional<std::string> displayName = {};
  std::optional<platform::Value::Data> connections = {};
  platform::Value properties = {};  ///< The dictionary of all properties; null if it cannot be read.
};

/// A change of the inventory.
struct MidiChange {
  std::vector<MidiObject> objects = {};  ///< New states of known objects; unknown ones are added at the end.
  platform::MidiNotification notification = {};
};

/// The form of the bytes of an event.
enum class MidiProtocol : std::uint8_t {
  bytes,    ///< A MIDI 1.0 byte stream.
  packets,  ///< Universal MIDI Packets: 32-bit words in native byte order.
};

/// A message, several messages of the same time, or a piece of a system-exclusive message.
struct MidiEvent {
  static constexpr std::size_t maxBytes = 65535;

  platform::HostTime time{};
  platform::MidiObjectRef endpoint{};  ///< The endpoint, or the route that `MidiTransport::connect` returned for it.
  std::span<const std::uint8_t> bytes = {};  ///< At most `maxBytes`; valid during the call.
  MidiProtocol protocol = MidiProtocol::bytes;
};

/// The names of a port, for transports that show the ports of clients to other programs.
struct MidiPortLabels {
  platform::MidiObjectRef port{};
  std::string client = {};  ///< The name of the client that has the port.
  std::string name = {};
  bool isInput = false;
};

/// The receiver of a transport's events; implemented by the host. The calls of `received` and `cycleEnded` must not
/// overlap; they are real-time safe and may be made on the transport's real-time thread. The others may be made on any
/// other thread.
class MidiTransportCallback {
 public:
  virtual ~MidiTransportCallback() = default;
  /// Queues an event that arrived at a source. Events of one source must come in order of time. A system-exclusive
  /// message may come in several events. Returns false if the queue is full; the event is then not queued, and a
  /// transport that can wait offers it again.
  virtual bool received(const MidiEvent& event) = 0;
  /// Counts events that the transport had to drop because `received` returned false. Real-time safe.
  virtual void dropped(std::uint64_t events) = 0;
  /// Starts the delivery of the events that were queued in this cycle.
  virtual void cycleEnded() = 0;
  /// Returns the worker that delivers. A transport without a real-time thread may run its sources on it, which saves
  /// the queue. May be called after `MidiTransport::start` was called.
  virtual platform::Worker& deliveryWorker() = 0;
  /// Returns a reference that keeps this object and the transport alive while it is locked. Tasks of `deliveryWorker`
  /// lock it, because a receive function may release the host.
  virtual std::weak_ptr<void> lifetime() = 0;
  /// Delivers an event that arrived at a source, and those before it for the same source, together with the next ones
  /// or at `delivered`. Called inside tasks of `deliveryWorker` only.
  virtual void deliver(const MidiEvent& event) = 0;
  /// Delivers the events that `deliver` has collected. Called inside tasks of `deliveryWorker` only.
  virtual void delivered() = 0;
  /// Reports a change of the inventory. A notification of kind 0 is not announced to clients.
  virtual void changed(MidiChange change) = 0;
  /// Reports that a source began to play or to come to the end of a file: `count` is 1 or -1. The host is active while
  /// the sum is not 0.
  virtual void sourcePlays(int count) = 0;
  /// Reports that the transport has sent everything that it took, see `MidiTransport::isIdle`.
  virtual void becameIdle() = 0;
  /// Reports that an endpoint that a port uses was removed. Other endpoints go on working.
  virtual void endpointLost(platform::Failure failure) = 0;
  /// Reports that the connection is gone: no event arrives or is taken from now on.
  virtual void lost(platform::Failure failure) = 0;
};

/// Events that a transport has taken and that have not left, as numbers of events and of their bytes.
struct MidiBacklog {
  platform::MidiCount waiting = {};  ///< Events that may still leave.
  /// Events that never will, counted since the creation of the transport: they were discarded, or their endpoint, port
  /// or connection is gone.
  platform::MidiCount lost = {};
};

/// Limits of a transport, constant from its creation.
struct MidiLimits {
  /// The maximum number of bytes of a sent event; the host sends longer messages in several events.
  std::size_t maxEventBytes = MidiEvent::maxBytes;
  /// How long before its time an event is handed to `send`, so that it is in time for a cycle of the transport.
  platform::HostTime lead{};
  /// After which time `send` is tried again if it returned false: the length of a cycle.
  platform::HostTime retry = std::chrono::milliseconds(1);
  /// Whether the host joins the pieces of received system-exclusive messages.
  bool joinsExclusive = false;
};

/// A connection to MIDI devices; implemented by a back end. Thread-safe, with the exceptions stated below; not
/// real-time safe.
class MidiTransport {
 public:
  virtual ~MidiTransport() = default;

  /// Returns the reason why the transport cannot be used (`noDevice` or `serverLost`), or `std::nullopt` if no reason
  /// is known.
  virtual std::optional<platform::Failure> whyUnavailable() const = 0;
  /// Sets the receiver, which must live until `detach`, and returns the inventory. From then on, changes are reported.
  virtual std::vector<MidiObject> attach(MidiTransportCallback& callback) = 0;
  /// Stops the transport. When `detach` has returned, the receiver is not called any more.
  virtual void detach() = 0;
  virtual MidiLimits limits() const { return {}; }
  /// Brings the inventory up to date and reports what is new. Called before the inventory is read. May block while it
  /// connects to a server. Does nothing by default.
  virtual void refresh() {}

  /// Begins to take and deliver events. Called once, after `attach`. Returns a failure if the transport cannot be used.
  virtual std::optional<platform::Failure> start() = 0;
  /// Announces a port of a client. Called after `start`. Returns why the port cannot be made.
  virtual std::optional<platform::Failure> addPort(const MidiPortLabels& labels) {
    static_cast<void>(labels);
    return std::nullopt;
  }
  /// Removes a port with its routes.
  virtual void removePort(platform::MidiObjectRef port) { static_cast<void>(port); }
  /// Prepares the exchange between a port and an endpoint, and sets `route` to what stands for the endpoint in events
  /// and in `listen`: by default the endpoint itself. May block for two seconds. Not on a worker that sends. Returns
  /// `deviceLost`, `serverLost` or `stalled`.
  virtual std::optional<platform::Failure> connect(platform::MidiObjectRef port, platform::MidiObjectRef endpoint,
                                                   platform::MidiObjectRef& route) {
    static_cast<void>(port);
    route = endpoint;
    return std::nullopt;
  }
  /// Drops the events that were sent on a route and have not begun to leave. Returns their number.
  virtual std::size_t discard(platform::MidiObjectRef route) {
    static_cast<void>(route);
    return 0;
  }
  /// Returns what was taken and has not left. By default, events leave at once.
  virtual MidiBacklog backlog() const { return {}; }
  /// Returns whether everything that was sent has left and its receivers had time to read it.
  virtual bool isIdle() const { return true; }
  /// Returns whether everything that was sent from a port has left and its receivers had time to read it.
  virtual bool isIdle(platform::MidiObjectRef port) const {
    static_cast<void>(port);
    return isIdle();
  }
  /// Returns how often messages may have been lost because cycles of the transport were.
  virtual std::uint64_t discontinuities() const { return 0; }
  /// Sets whether any port is connected to a source; events of other sources need not be delivered. Called for changes
  /// only. Calls do not overlap, and must not wait for a delivery.
  virtual void listen(platform::MidiObjectRef route, bool isConnected) = 0;
  /// Takes an event for a destination. Calls do not overlap, and come `lead` before the event's time or later. For each
  /// destination they come in order of time, except for an event that is due and must leave before events that were
  /// handed out ahead of their time. Returns false if the transport can take no more for this destination in this
  /// cycle; the host then tries again. Must not be called before `start` or inside a call of the receiver.
  virtual bool send(const MidiEvent& event) = 0;
  /// Completes files that the transport writes, and waits until `isIdle`; gives up when no event has left for a second.
  /// Returns whether the transport is idle. Called when a client or player is disposed and when the process exits, on
  /// any thread but the transport's own.
  virtual bool flush() { return true; }
};

}  // namespace orvane::backend
