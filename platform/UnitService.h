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

/// The time of the first frame that a handler or provider is called for.
struct RenderTimeStamp {
  double sampleTime = 0;       ///< Frames at the client's rate since the unit started, missing frames included.
  std::uint64_t hostTime = 0;  ///< When the slice's first input frame was captured, in nanoseconds on the host clock.
};

/// Flags passed through renders, handlers and providers. None is defined; the host passes 0 and ignores changes.
using RenderActionFlags = std::uint32_t;

/// Supplies the input of a render. Units of this host have their own input and never call it.
using PullInput = std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames,
                                       std::int32_t bus, RenderBufferList& list)>;

/// Renders `frames` frames of captured input into `list`. Call it only inside the unit's input handler or output
/// provider, with `bus` 1, the frame count that was passed to the handler or provider, and one entry a channel of the
/// input client format, each with `channels` 1. `pullInput` is ignored and may be null. Real-time safe.
///
/// If an entry's `data` is null, it is set to memory of the unit, to be read only and valid until the handler or
/// provider returns; otherwise the samples are copied to it, and `byteSize` must be large enough. `byteSize` is set to
/// the size of the frames.
///
/// Returns `wrongState` outside a handler or provider and for a unit whose input is disabled, `badParameter` for
/// another bus, frame count, channel count or buffer size, or the status that a scenario injects.
using RenderOperation =
    std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames, std::int32_t bus,
                         RenderBufferList& list, const PullInput* pullInput)>;

/// Called on the device callback for captured input, with `bus` 1: once a slice if the client's rate is the hardware's,
/// otherwise any number of times, with 1 to 8192 frames each. Must be real-time safe and must not throw.
///
/// If the rates differ, every call that stops the unit also calls the handler on the caller's thread for the frames
/// that the rate conversion still holds, after the last call on the device callback and before returning. Calls never
/// overlap, and each sees the memory writes of the one before it.
using InputHandler =
    std::function<void(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames, std::int32_t bus)>;

/// Called on the device callback to supply output, with `bus` 0: once a slice if the client's rate is the hardware's,
/// otherwise any number of times, with 1 to 8192 frames each. `list` has one buffer a channel of the output client
/// format, whose samples the provider must write. If it returns a status other than 0, these frames are silent. Never
/// called on another thread. Must be real-time safe and must not throw.
using OutputProvider = std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames,
                                            std::int32_t bus, RenderBufferList& list)>;

/// One side of one element of a unit. Has the thread rules of `UnitService`.
class ORVANE_EXPORT UnitBus {
 public:
  virtual ~UnitBus() = default;
  /// Returns the current format. Client formats default to the hardware's formats when the unit was made.
  virtual StreamFormat format() const = 0;
  /// Sets a client format: `StreamFormat::standard` with 1 to 64 channels and a rate, in hertz, of at least 1/256 and
  /// at most 256 times the hardware's. Takes effect at the next start.
  ///
  /// Returns nothing on success, or an error that leaves the format unchanged: `wrongState` while the unit is running,
  /// `unsupportedFormat` for any other format and on the hardware's side, or the status that a scenario injects.
  virtual std::optional<PlatformError> setFormat(const StreamFormat& format) = 0;
};

/// Gives access to a unit's buses, switches and closures. Has the thread rules of `UnitService`.
///
/// Element 0 plays to the hardware output: its input side is the output client format, its output side the hardware
/// output. Element 1 captures: its input side is the hardware input, its output side the input client format.
class ORVANE_EXPORT UnitWrapper : public Object {
 public:
  /// The class name for messages.
  static constexpr char className[] = "UnitWrapper";

  /// Returns the input or output side of an element, 0 or 1; throws `PlatformException` for another index. The bus
  /// lives as long as the wrapper.
  virtual UnitBus& inputBus(std::uint32_t element) = 0;
  virtual UnitBus& outputBus(std::uint32_t element) = 0;

  /// Enables a side. Default: input disabled, output enabled. Takes effect at the next start. A unit without an output
  /// provider plays nothing, even if output is enabled.
  virtual void setInputEnabled(bool enabled) = 0;
  virtual void setOutputEnabled(bool enabled) = 0;

  /// Replaces a closure; an empty one, the default, removes it. Once this returns, the old one is not called again. A
  /// running unit is stopped and started again, and misses the slices in between; if it cannot start again, an error is
  /// logged. Does nothing after `invalidate`.
  virtual void setInputHandler(InputHandler handler) = 0;
  virtual void setOutputProvider(OutputProvider provider) = 0;

  /// Returns the unit's render operation. Copies of it stay callable; after the unit was disposed they return
  /// `wrongState`.
  virtual RenderOperation renderOperation() = 0;

  /// Stops the unit and removes its closures. Later calls that set closures do nothing. Call it before disposing the
  /// instance.
  virtual void invalidate() = 0;
};

/// Criteria for `UnitService::findComponent`. The defaults describe the host's I/O unit. The codes are four characters,
/// the first in the most significant byte.
struct UnitDescription {
  static constexpr std::uint32_t outputType = 0x61756F75;            ///< 'auou'
  static constexpr std::uint32_t defaultSubType = 0x72696F63;        ///< 'rioc'
  static constexpr std::uint32_t platformManufacturer = 0x6F72766E;  ///< 'orvn'

  std::uint32_t type = outputType;
  std::uint32_t subType = defaultSubType;
  std::uint32_t manufacturer = platformManufacturer;
  std::uint32_t flags = 0;      ///< Required flags; the I/O unit has none.
  std::uint32_t flagsMask = 0;  ///< The bits of `flags` to compare; 0 accepts any flags.

  bool operator==(const UnitDescription&) const = default;
};

/// Identifies a kind of unit; 0 is none.
enum class UnitComponent : std::uint32_t { none = 0 };

/// Identifies a unit; 0 is none.
enum class UnitInstance : std::uint32_t { none = 0 };

/// Properties for `UnitService::setProperty`.
enum class UnitProperty : std::uint32_t {
  sessionIdentifier = 1,  ///< `PlatformSession::identifier` of the session to bind; global scope, element 0, 4 bytes.
};
/// The part of a unit that a property belongs to.
enum class UnitScope : std::uint32_t { global = 0, input = 1, output = 2 };

/// Latency added by client-format conversion, in hardware frames. Constant from start to stop; 0 at the hardware's
/// rate.
struct UnitLatency {
  std::uint32_t input = 0;   ///< Delay of captured input at the input handler.
  std::uint32_t output = 0;  ///< Lead of the output provider over the hardware.
};

/// Makes and controls I/O units, each a duplex stream to the audio device.
///
/// A unit is created, initialised, started and stopped any number of times, and disposed. Stopping may call the input
/// handler on the caller's thread, see `InputHandler`.
///
/// Thread-safe across units; calls on one unit must not overlap. Not real-time safe. `initialize`, `start` and `stop`
/// on the device callback, and starting or stopping a unit inside a worker's task while the device is running, end the
/// process with a message.
///
/// Operations on a unit return `badParameter` for an unknown instance. Every operation except `isRunning`, `latency`
/// and `dispose` may fail with a refusal that a scenario injects. Those refusals and those of `initialize`, `start` and
/// setting a client format are logged and kept as `DeviceReport::lastRefusal`.
class ORVANE_EXPORT UnitService {
 public:
  virtual ~UnitService() = default;

  /// Returns the component that fits the description; `none` if there is none or the host has no audio device.
  virtual UnitComponent findComponent(const UnitDescription& description) = 0;
  /// Creates a unit and sets `instance`. Returns `badParameter` for an unknown component. On failure there is no
  /// instance, whatever `instance` holds.
  virtual Status createInstance(UnitComponent component, UnitInstance& instance) = 0;
  /// Returns a wrapper of the instance; null for an unknown instance.
  virtual std::shared_ptr<UnitWrapper> wrap(UnitInstance instance) = 0;
  /// Initialises the unit; `start` requires it. A second call checks again. Returns `noDevice` if there is no device or
  /// the hardware lacks an enabled side, `noInput` or `noOutput` if the category of the bound session lacks one, and
  /// the device's failure if it is known to be unable to start: `deviceLost`, `serverLost`, `invalidFile`, `ioFailure`.
  virtual Status initialize(UnitInstance instance) = 0;
  /// Starts the unit; stops it first if it is running. Output starts only with an output provider. Returns `wrongState`
  /// if the unit is not initialised, `noDevice` if the hardware reports no sample rate, `unsupportedFormat` or
  /// `ioFailure` if the rates cannot be converted or memory is lacking, and what `initialize` and opening the speaker's
  /// file (`ConvertingFile::create`) return.
  virtual Status start(UnitInstance instance) = 0;
  /// Stops the unit; no closure is called after it has returned. Succeeds if the unit is not running.
  virtual Status stop(UnitInstance instance) = 0;
  /// Whether the unit was started and not stopped; false for an unknown instance. Also true after the device has ended
  /// by itself, see `DeviceReport::deviceEnd`. Thread-safe.
  virtual bool isRunning(UnitInstance instance) const = 0;
  /// Returns the latency of the unit's last start; 0 before it and for an unknown instance. Thread-safe.
  virtual UnitLatency latency(UnitInstance instance) const = 0;
  /// Sets a property from `byteSize` bytes at `data`. Returns `badParameter` for an unknown property, a scope, element
  /// or size other than the property's, or null `data`, and `unknownSession` if no session has the identifier; the unit
  /// then keeps its binding. A unit without a session may use every side of the hardware. Checked at the next start.
  virtual Status setProperty(UnitInstance instance, UnitProperty property, UnitScope scope, std::uint32_t element,
                             const void* data, std::uint32_t byteSize) = 0;
  /// Stops and destroys the unit; no closure is called after it has returned. Ignores an unknown instance.
  virtual void dispose(UnitInstance instance) = 0;
};

}  // namespace orvane::platform
