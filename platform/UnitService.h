// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/Object.h"
#include "platform/PlatformError.h"
#include "platform/RenderBufferList.h"
#include "platform/StreamFormat.h"

namespace orvane::platform {

/// When the first frame of a slice was captured or is to be heard.
struct RenderTimeStamp {
  double sampleTime = 0;       ///< Frames of the client since the unit started, those that are missing included.
  std::uint64_t hostTime = 0;  ///< Host ticks: nanoseconds on the host clock.
};

/// Flags that travel with a render through handlers and providers. None is defined so far: 0.
using RenderActionFlags = std::uint32_t;

/// Supplies the input of a render that has no input element of its own.
using PullInput = std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames,
                                       std::int32_t bus, RenderBufferList& list)>;

/// Renders `frames` frames of an element into `list`: captured input for bus 1. Called inside an input handler or an
/// output provider only, with the frame count that it was given. Where an entry's data reference is null it is set to
/// memory of the unit's own, to be read and not written, valid until the handler returns. Real-time safe.
using RenderOperation =
    std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames, std::int32_t bus,
                         RenderBufferList& list, const PullInput* pullInput)>;

/// Called on the device callback for each slice of captured input, in one part or more. Must be real-time safe.
///
/// If the client's rate differs from the hardware's, `UnitService::stop`, and every other call that stops the unit,
/// also calls it on the caller's thread, after the last call on the device callback and before returning: for the
/// frames that the rate conversion still holds. Calls never overlap, and each sees the writes of the one before it.
using InputHandler =
    std::function<void(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames, std::int32_t bus)>;

/// Called on the device callback, once or more a slice and for any number of frames from 1 on, to fill `list` with
/// output; on another status than 0 the slice is silent. Never called on another thread. Must be real-time safe.
using OutputProvider = std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames,
                                            std::int32_t bus, RenderBufferList& list)>;

/// One side of one element of a unit.
class ORVANE_EXPORT UnitBus {
 public:
  virtual ~UnitBus() = default;
  virtual StreamFormat format() const = 0;
  /// Sets the format; returns why it cannot be done, or nothing on success. Refused while the unit runs.
  virtual std::optional<PlatformError> setFormat(const StreamFormat& format) = 0;
};

/// The object that wraps a unit instance: its buses, switches and closures. Caller's thread.
///
/// Element 0 feeds the hardware output, element 1 carries what the hardware input captured. Each has an input side
/// (`inputBus`) and an output side (`outputBus`).
class ORVANE_EXPORT UnitWrapper : public Object {
 public:
  /// The class's name as messages show it.
  static constexpr char className[] = "UnitWrapper";

  /// The buses of an element, 0 or 1; another index throws `PlatformException`. They live as long as the wrapper.
  virtual UnitBus& inputBus(std::uint32_t element) = 0;
  virtual UnitBus& outputBus(std::uint32_t element) = 0;

  /// Default: input disabled, output enabled. Takes effect at the next start.
  virtual void setInputEnabled(bool enabled) = 0;
  virtual void setOutputEnabled(bool enabled) = 0;

  /// Replaces a closure; an empty one removes it. While the unit runs, returns only when the old one is no longer
  /// called.
  virtual void setInputHandler(InputHandler handler) = 0;
  virtual void setOutputProvider(OutputProvider provider) = 0;

  /// The unit's render operation. Copies of it stay valid until the unit is disposed; after that they return a status.
  virtual RenderOperation renderOperation() = 0;

  /// Stops calling closures for good. Called once, before the instance is disposed.
  virtual void invalidate() = 0;
};

/// Criteria for finding one of the host's units. All four-character codes, first character most significant.
struct UnitDescription {
  static constexpr std::uint32_t outputType = 0x61756F75;            ///< 'auou'
  static constexpr std::uint32_t defaultSubType = 0x72696F63;        ///< 'rioc'
  static constexpr std::uint32_t platformManufacturer = 0x6F72766E;  ///< 'orvn'

  std::uint32_t type = outputType;
  std::uint32_t subType = defaultSubType;
  std::uint32_t manufacturer = platformManufacturer;
  std::uint32_t flags = 0;
  std::uint32_t flagsMask = 0;

  bool operator==(const UnitDescription&) const = default;
};

/// A kind of unit that the host can make; 0 is none.
enum class UnitComponent : std::uint32_t { none = 0 };

/// A unit that the host made; 0 is none.
enum class UnitInstance : std::uint32_t { none = 0 };

/// Properties of a unit that are set by number.
enum class UnitProperty : std::uint32_t {
  sessionIdentifier = 1,  ///< Global scope, element 0; an unsigned 32-bit value of 4 bytes.
};
enum class UnitScope : std::uint32_t { global = 0, input = 1, output = 2 };

/// Latency added by a unit's client formats, in hardware frames. Constant from start to stop.
struct UnitLatency {
  std::uint32_t input = 0;   ///< How late captured input reaches the input handler.
  std::uint32_t output = 0;  ///< How far ahead of the hardware the output provider is asked.
};

/// The host's I/O units: one duplex stream to the audio device each. Any thread but the device callback, one thread at
/// a time for each unit; not real-time safe.
///
/// States: created, initialised, running. A second `initialize` succeeds. `initialize` refuses what is known to be
/// impossible: an enabled side that the hardware or the category of the unit's session lacks (`noDevice`, `noInput`,
/// `noOutput`), a device that is gone (`deviceLost`, `serverLost`). `start` on a running unit stops it first. No
/// closure is called once `stop` or `dispose` has returned. `dispose` stops. Starting and stopping inside one of the
/// unit's closures, or inside a worker's task while the device runs, ends the process with a line that says so.
/// Stopping may call the input handler on the caller's thread; see `InputHandler`.
class ORVANE_EXPORT UnitService {
 public:
  virtual ~UnitService() = default;

  /// The first unit that fits the description, or none.
  virtual UnitComponent findComponent(const UnitDescription& description) = 0;
  /// Refused, there is no instance: what was written to `instance` then counts for nothing.
  virtual Status createInstance(UnitComponent component, UnitInstance& instance) = 0;
  /// The wrapper of an instance; nothing where there is no such instance.
  virtual std::shared_ptr<UnitWrapper> wrap(UnitInstance instance) = 0;
  virtual Status initialize(UnitInstance instance) = 0;
  virtual Status start(UnitInstance instance) = 0;
  virtual Status stop(UnitInstance instance) = 0;
  virtual bool isRunning(UnitInstance instance) const = 0;
  /// Latency of the unit's last start; zeros where it has not been started or does not exist. Any thread.
  virtual UnitLatency latency(UnitInstance instance) const = 0;
  virtual Status setProperty(UnitInstance instance, UnitProperty property, UnitScope scope, std::uint32_t element,
                             const void* data, std::uint32_t byteSize) = 0;
  virtual void dispose(UnitInstance instance) = 0;
};

}  // namespace orvane::platform
