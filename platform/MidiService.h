// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/PacketList.h"
#include "platform/Status.h"
#include "platform/Value.h"

namespace orvane::platform {

/// Identifies an object of the MIDI service: a device, entity, endpoint, client or port. `none` (0) is no object. A
/// handle is never used again for another object.
enum class MidiObjectRef : std::uint32_t { none = 0 };

/// The kind of an object of the inventory. A device has entities, an entity has sources and destinations (endpoints).
/// External devices are those that are connected to a device by cables; the service cannot reach them.
enum class MidiObjectKind : std::int32_t {
  other = -1,
  device = 0,
  entity = 1,
  source = 2,
  destination = 3,
  externalDevice = 0x10,
  externalEntity = 0x11,
  externalSource = 0x12,
  externalDestination = 0x13,
};

/// Names of properties that the service itself interprets.
namespace midi_property {

inline constexpr char name[] = "name";                    ///< Text.
inline constexpr char displayName[] = "displayName";      ///< Text: the name of an endpoint for users.
inline constexpr char uniqueIdentifier[] = "uniqueID";    ///< Integer.
inline constexpr char driverVersion[] = "driverVersion";  ///< Integer.
inline constexpr char offline[] = "offline";              ///< Integer: 1 if the object cannot be reached, otherwise 0.
/// Data: the unique identifiers of the objects that an object is connected to, as big-endian 32-bit integers.
inline constexpr char connections[] = "connections";

}  // namespace midi_property

/// A change of the MIDI setup.
struct MidiNotification {
  enum Kind : std::int32_t {
    setupChanged = 1,     ///< Something changed; no further members.
    objectAdded = 2,      ///< `child` was added to `parent`.
    objectRemoved = 3,    ///< `child` was removed from `parent`.
    propertyChanged = 4,  ///< The property `propertyName` of `object` changed.
  };

  /// Returns the identifier of a kind, such as "MidiNotification::setupChanged"; empty for an unknown kind.
  static constexpr std::string_view identifierOf(std::int32_t kind) {
    switch (kind) {
      case setupChanged:
        return "MidiNotification::setupChanged";
      case objectAdded:
        return "MidiNotification::objectAdded";
      case objectRemoved:
        return "MidiNotification::objectRemoved";
      case propertyChanged:
        return "MidiNotification::propertyChanged";
      default:
        return {};
    }
  }

  std::int32_t kind = 0;   ///< A `Kind`, or another number that receivers may not know.
  std::uint32_t size = 0;  ///< Size of this record in bytes.
  MidiObjectRef parent{};  ///< `none` if it is not known.
  MidiObjectKind parentKind = MidiObjectKind::other;
  MidiObjectRef child{};
  MidiObjectKind childKind = MidiObjectKind::other;
  MidiObjectRef object{};
  MidiObjectKind objectKind = MidiObjectKind::other;
  std::string propertyName = {};
};

/// A function that receives the notifications of a client. It is called by the host's event loop (`EventLoop::run`), on
/// the thread that runs the loop.
using MidiNotify = std::function<void(const MidiNotification& notification)>;

/// A function that receives the packet lists that arrive at an input port. `context` is that of the connection. It is
/// called on the service's delivery thread, one call at a time for each port. The list is valid during the call. It
/// must not wait or throw: either ends the process.
using MidiReceive = std::function<void(const PacketList& list, void* context)>;

/// A text that is shared instead of copied.
using SharedText = std::shared_ptr<const std::string>;

/// The MIDI service: an inventory of devices, and ports that send to destinations and receive from sources.
///
/// The inventory may change at any time. Indices count from 0; an index or a handle that is out of range gives `none`,
/// a count for an unknown handle is 0. Objects that were removed are not listed, but their properties remain readable.
///
/// A program creates a client, and for the client output ports, which send to destinations, and input ports, which are
/// connected to sources. Time stamps of packets are host times in nanoseconds.
///
/// Thread-safe; not real-time safe. `disposePort`, `disposeClient` and `disconnectSource` wait for a receive function
/// in progress, except inside that function. Operations that return a status may also fail with a status that a
/// scenario injects. Failures are logged, except those of the operations that read, and `DeviceReport::lastRefusal`
/// returns the last of them.
class ORVANE_EXPORT MidiService {
 public:
  virtual ~MidiService() = default;

  // ---- the inventory

  virtual std::uint32_t numberOfDevices() const = 0;
  virtual MidiObjectRef device(std::uint32_t index) const = 0;
  virtual std::uint32_t numberOfExternalDevices() const = 0;
  virtual MidiObjectRef externalDevice(std::uint32_t index) const = 0;
  /// Sources and destinations of all devices, without those of external devices.
  virtual std::uint32_t numberOfSources() const = 0;
  virtual MidiObjectRef source(std::uint32_t index) const = 0;
  virtual std::uint32_t numberOfDestinations() const = 0;
  virtual MidiObjectRef destination(std::uint32_t index) const = 0;
  virtual std::uint32_t numberOfEntities(MidiObjectRef device) const = 0;
  virtual MidiObjectRef entity(MidiObjectRef device, std::uint32_t index) const = 0;
  virtual std::uint32_t numberOfSources(MidiObjectRef entity) const = 0;
  virtual MidiObjectRef source(MidiObjectRef entity, std::uint32_t index) const = 0;
  virtual std::uint32_t numberOfDestinations(MidiObjectRef entity) const = 0;
  virtual MidiObjectRef destination(MidiObjectRef entity, std::uint32_t index) const = 0;

  // The operations that read a property return `notFound` if the object has no such property and `badParameter` for an
  // unknown object; the result is then unchanged. `property` is one of `midi_property` or another key of the object's
  // dictionary.

  virtual Status integerProperty(MidiObjectRef object, std::string_view property, std::int32_t& value) const = 0;
  virtual Status stringProperty(MidiObjectRef object, std::string_view property, SharedText& value) const = 0;
  virtual Status dataProperty(MidiObjectRef object, std::string_view property, Value::Data& value) const = 0;
  /// Reads all properties of an object, without those of its children, as a dictionary.
  virtual Status properties(MidiObjectRef object, Value& dictionary) const = 0;
  /// Finds the first object with a unique identifier, in order of the inventory, including objects that were removed.
  /// Returns `notFound` and leaves the results unchanged if there is none.
  virtual Status findObject(std::int32_t uniqueIdentifier, MidiObjectRef& object, MidiObjectKind& kind) const = 0;
  /// The name of `findObject` for use in messages.
  static constexpr char findObjectName[] = "MidiService::findObject";

  // ---- clients and ports

  /// Creates a client and sets `client` to its handle. `notify` may be empty. Returns `noDevice` if the host has no
  /// MIDI, `serverLost` if the connection to the sound server is gone, or `ioFailure` if no thread can be started.
  virtual Status createClient(const std::string& name, MidiNotify notify, MidiObjectRef& client) = 0;
  /// Disposes the client and its ports. `notify` is not called after that. Returns `badParameter` for an unknown
  /// client.
  virtual Status disposeClient(MidiObjectRef client) = 0;
  /// Creates an output port. Returns `badParameter` for an unknown client, and, if other programs see the port,
  /// `serverLost`, `stalled` or `ioFailure` if the sound server does not make it.
  virtual Status createOutputPort(MidiObjectRef client, const std::string& name, MidiObjectRef& port) = 0;
  /// Creates an input port; `receive` must not be empty. Returns the same as `createOutputPort`.
  virtual Status createInputPort(MidiObjectRef client, const std::string& name, MidiReceive receive,
                                 MidiObjectRef& port) = 0;
  /// Disposes a port with its connections. Its receive function is not called after that. Lists that were sent through
  /// it are still delivered. Returns `badParameter` for an unknown port.
  virtual Status disposePort(MidiObjectRef port) = 0;

  /// Connects an input port to a source; `context` is handed to the receive function. A second connection of the same
  /// port and source only replaces the context. Returns `badParameter` for an unknown port, an output port, or an
  /// object that is not a source in the inventory, and `serverLost`. With a sound server, blocks until the link carries
  /// messages (about 50 ms, two seconds at most), and may return `stalled`, `deviceLost` or `ioFailure`.
  virtual Status connectSource(MidiObjectRef port, MidiObjectRef source, void* context) = 0;
  /// Removes a connection: lists of this source do not reach the port after that. Returns `badParameter` if port and
  /// source are not connected.
  virtual Status disconnectSource(MidiObjectRef port, MidiObjectRef source) = 0;

  /// Sends a list through an output port. Copies the list and returns; each packet is delivered when the host clock
  /// reaches its time stamp, packets of one time in the order in which they were sent. A time stamp in the past counts
  /// as now. Returns `badParameter` for an unknown port, an input port, or an object that is not a destination in the
  /// inventory, `overrun` if more than 64 MiB are waiting, and `serverLost`. The first list from a port to a
  /// destination may block and fail as `connectSource` does.
  virtual Status send(MidiObjectRef port, MidiObjectRef destination, const PacketList& list) = 0;
};

}  // namespace orvane::platform
