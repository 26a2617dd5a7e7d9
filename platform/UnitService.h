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

/// The time of the first frame of a call of an input handler or output provider.
struct RenderTimeStamp {
  double sampleTime = 0;  ///< Frames at the client's rate since the unit started, missing frames included.
  std::uint64_t hostTime =
      0;  ///< Capture time of the first input frame of the device callback's block (slice), in nanoseconds.
};

/// Flags passed to render operations, input handlers and output providers. No flag is defined: the host passes 0 and
/// ignores changes.
using RenderActionFlags = std::uint32_t;

/// A function that supplies the input of a render operation. The host's units capture their own input and never call
/// it.
using PullInput = std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames,
                                       std::int32_t bus, RenderBufferList& list)>;

/// A function that renders `frames` frames of captured input into `list`. Must be called inside the unit's input
/// handler or output provider, with `bus` 1, with the `frames` of that call, and with one entry in `list` per channel
/// of the input client format, each with `channels` 1. `pullInput` is ignored and may be null. Real-time safe.
///
/// If an entry's `data` is null, it is set to the unit's own memory, which is read-only for the caller and valid until
/// the handler or provider returns. Otherwise the samples are copied to `data`, and `byteSize` must be large enough for
/// them. In both cases `byteSize` is set to the size of the samples.
///
/// Returns `wrongState` outside a handler or provider and for a unit whose input is disabled, `badParameter` for any
/// other bus, frame count, channel count or too small a buffer, or a status that a scenario injects.
using RenderOperation =
    std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames, std::int32_t bus,
                         RenderBufferList& list, const PullInput* pullInput)>;

/// A function called on the device callback for captured input, with `bus` 1. If the client format has the hardware's
/// rate, it is called once per slice (block of one device callback); otherwise any number of times, with 1 to 8192
/// frames each. It must be real-time safe and must not throw.
///
/// If the rates differ, every operation that stops the unit also calls the handler (possibly several times) on the
/// caller's thread, after the last device callback, with the frames that are still in the rate converter. Calls never
/// overlap, and each sees the memory writes of the previous one.
using InputHandler =
    std::function<void(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames, std::int32_t bus)>;

/// A function called on the device callback to supply output, with `bus` 0. If the client format has the hardware's
/// rate, it is called once per slice (block of one device callback); otherwise any number of times, with 1 to 8192
/// frames each. `list` has one buffer per channel of the output client format, and the function must write all its
/// samples. If it returns a status other than 0, the host plays silence for these frames. It must be real-time safe and
/// must not throw.
using OutputProvider = std::function<Status(RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames,
                                            std::int32_t bus, RenderBufferList& list)>;

/// The input or output side of one element of a unit (see `UnitWrapper`). The thread rules are those of `UnitService`.
class ORVANE_EXPORT UnitBus {
 public:
  virtual ~UnitBus() = default;
  /// Returns the current format. The default of a client format is the hardware's format at the time when the unit was
  /// created.
  virtual StreamFormat format() const = 0;
  /// Sets a client format, which must be a `StreamFormat::standard` with 1 to 64 channels and a rate from 1/256 to 256
  /// times the hardware's. Takes effect at the next start.
  ///
  /// Returns `std::nullopt` on success. Otherwise the format is unchanged and the error's status is `wrongState` while
  /// the unit is running, `unsupportedFormat` for any other format or for the hardware's side, or a status that a
  /// scenario injects.
  virtual std::optional<PlatformError> setFormat(const StreamFormat& format) = 0;
};

/// The wrapper of a unit, which controls its formats, enabled sides and closures (input handler and output provider).
/// The thread rules are those of `UnitService`.
///
/// A unit has two elements. Element 0 plays: its input side has the output client format, its output side the
/// hardware's output format. Element 1 captures: its input side has the hardware's input format, its output side the
/// input client format.
class ORVANE_EXPORT UnitWrapper : public Object {
 public:
  /// The name of this class for use in messages.
  static constexpr char className[] = "UnitWrapper";

  /// Returns the input side of an element, which lives as long as the wrapper. Throws `PlatformException` if `element`
  /// is neither 0 nor 1.
  virtual UnitBus& inputBus(std::uint32_t element) = 0;
  /// Returns the output side of an element, which lives as long as the wrapper. Throws `PlatformException` if `element`
  /// is neither 0 nor 1.
  virtual UnitBus& outputBus(std::uint32_t element) = 0;

  /// Enables or disables the unit's input, which is disabled by default. Takes effect at the next start.
  virtual void setInputEnabled(bool enabled) = 0;
  /// Enables or disables the unit's output, which is enabled by default. Takes effect at the next start. A unit without
  /// an output provider plays nothing, even if output is enabled.
  virtual void setOutputEnabled(bool enabled) = 0;

  /// Replaces the input handler; an empty function, the default, removes it. The old handler is not called after this
  /// function has returned. A running unit is stopped and started again and misses the slices in between; if it cannot
  /// start again, an error is logged. Does nothing after `invalidate`.
  virtual void setInputHandler(InputHandler handler) = 0;
  /// Replaces the output provider; an empty function, the default, removes it. Otherwise behaves as `setInputHandler`.
  virtual void setOutputProvider(OutputProvider provider) = 0;

  /// Returns the unit's render operation. Copies remain callable after the unit was disposed and then return
  /// `wrongState`.
  virtual RenderOperation renderOperation() = 0;

  /// Stops the unit, removes its closures, and makes later calls that set closures do nothing. Should be called before
  /// disposing the unit.
  virtual void invalidate() = 0;
};

/// Criteria for `UnitService::findComponent`. The defaults describe the host's I/O unit. The codes consist of four
/// characters, the first in the most significant byte.
struct UnitDescription {
  static constexpr std::uint32_t outputType = 0x61756F75;            ///< 'auou'
  static constexpr std::uint32_t defaultSubType = 0x72696F63;        ///< 'rioc'
  static constexpr std::uint32_t platformManufacturer = 0x6F72766E;  ///< 'orvn'

  std::uint32_t type = outputType;
  std::uint32_t subType = defaultSubType;
  std::uint32_t manufacturer = platformManufacturer;
  std::uint32_t flags = 0;      ///< Required values of the flags in `flagsMask`; all flags of the I/O unit are 0.
  std::uint32_t flagsMask = 0;  ///< The bits of `flags` to compare; 0 accepts any flags.

  bool operator==(const UnitDescription&) const = default;
};

/// Identifies a kind of unit that can be created; `none` (0) is no kind.
enum class UnitComponent : std::uint32_t { none = 0 };

/// Identifies a unit; `none` (0) is no unit.
enum class UnitInstance : std::uint32_t { none = 0 };

/// Properties for `UnitService::setProperty`.
enum class UnitProperty : std::uint32_t {
  sessionIdentifier = 1,  ///< The session to bind (`PlatformSession::identifier`, 4 bytes); global scope, element 0.
};
/// The part of a unit that a property belongs to.
enum class UnitScope : std::uint32_t { global = 0, input = 1, output = 2 };

/// The latency that the conversion to and from the client formats adds, in hardware frames. It is constant from start
/// to stop, and 0 if the client format has the hardware's rate.
struct UnitLatency {
  std::uint32_t input = 0;   ///< Delay of captured frames until they reach the input handler.
  std::uint32_t output = 0;  ///< Time by which the output provider is called before its frames are played.
};

/// The unit service: creates and controls I/O units. An I/O unit is a duplex stream between a client and the audio
/// device.
///
/// A unit is created, initialised, started and stopped any number of times, and finally disposed. Stopping may call the
/// input handler on the caller's thread, see `InputHandler`.
///
/// Different units may be used on different threads at the same time; calls on one unit must not overlap. Not real-time
/// safe. Calling `initialize`, `start` or `stop` on the device callback, or starting or stopping a unit inside a
/// worker's task while the device is running, ends the process with a message.
///
/// Operations on a unit return `badParameter` for an unknown instance. Every operation except `isRunning`, `latency`
/// and `dispose` may fail with a status that a scenario (the simulated device's script of faults) injects. Those
/// failures, and failures of `initialize`, `start` and `UnitBus::setFormat`, are logged, and
/// `DeviceReport::lastRefusal` returns the last of them.
class ORVANE_EXPORT UnitService {
 public:
  virtual ~UnitService() = default;

  /// Returns the component that matches the description, or `none` if no component matches or the host has no audio
  /// device.
  virtual UnitComponent findComponent(const UnitDescription& description) = 0;
  /// Creates a unit and sets `instance` to it. Returns `badParameter` for an unknown component. On failure no unit is
  /// created, and the value of `instance` is unspecified.
  virtual Status createInstance(UnitComponent component, UnitInstance& instance) = 0;
  /// Returns a wrapper of the unit, or null for an unknown instance.
  virtual std::shared_ptr<UnitWrapper> wrap(UnitInstance instance) = 0;
  /// Initialises the unit, which must be done before `start`; a second call repeats the checks. Returns `noDevice` if
  /// there is no device or the hardware lacks a side (input or output) that the unit has enabled, `noInput` or
  /// `noOutput` if the bound session's category lacks such a side, and `deviceLost`, `serverLost`, `invalidFile` or
  /// `ioFailure` if the device is already known to be unable to start.
  virtual Status initialize(UnitInstance instance) = 0;
  /// Starts the unit, stopping it first if it is running. Output starts only if there is an output provider. Returns
  /// `wrongState` if the unit is not initialised, `noDevice` if the hardware reports no sample rate,
  /// `unsupportedFormat` if the rates cannot be converted, `ioFailure` if memory is exhausted, and the statuses of
  /// `initialize` and of opening the speaker's file (those of `ConvertingFile::create`).
  virtual Status start(UnitInstance instance) = 0;
  /// Stops the unit. No closure is called after `stop` has returned. Succeeds without effect if the unit is not
  /// running.
  virtual Status stop(UnitInstance instance) = 0;
  /// Returns whether the unit was started and not stopped; returns false for an unknown instance. Remains true after
  /// the device has ended by itself (see `DeviceReport::deviceEnd`). Thread-safe.
  virtual bool isRunning(UnitInstance instance) const = 0;
  /// Returns the latency determined by the unit's last start, or 0 before the first start and for an unknown instance.
  /// Thread-safe.
  virtual UnitLatency latency(UnitInstance instance) const = 0;
  /// Sets a property to the `byteSize` bytes at `data`. Returns `badParameter` for an unknown property, a scope,
  /// element or size other than that of the property, or null `data`. Returns `unknownSession`, and keeps the current
  /// session, if no session has the identifier. A unit without a session may use every side of the hardware; the
  /// session's category is checked at the next `initialize` or `start`.
  virtual Status setProperty(UnitInstance instance, UnitProperty property, UnitScope scope, std::uint32_t element,
                             const void* data, std::uint32_t byteSize) = 0;
  /// Stops and destroys the unit. No closure is called after `dispose` has returned. Ignores an unknown instance.
  virtual void dispose(UnitInstance instance) = 0;
};

}  // namespace orvane::platform
