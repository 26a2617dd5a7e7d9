// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/DeviceReport.h"
#include "platform/PlatformError.h"
#include "platform/StreamFormat.h"

namespace orvane::backend {

/// The format of an audio device's hardware, and limits that apply to every device.
struct DeviceFormat {
  double sampleRate = 0;          ///< Hertz; 0 if the hardware reports none.
  std::uint32_t inputs = 0;       ///< Input channels; 0 if there is no input.
  std::uint32_t outputs = 0;      ///< Output channels; 0 if there is no output.
  std::uint32_t sliceFrames = 0;  ///< Usual frames per slice (callback block); individual slices may differ.

  /// The maximum number of frames per slice.
  static constexpr std::uint32_t maxSliceFrames = 8192;
  /// The maximum number of channels per side (input or output).
  static constexpr std::uint32_t maxChannels = 64;
  /// The alignment of each plane (the samples of one channel), in bytes.
  static constexpr std::size_t planeAlignment = 16;

  /// Return the format of each side, in the form in which units exchange samples.
  platform::StreamFormat inputFormat() const { return platform::StreamFormat::standard(sampleRate, inputs); }
  platform::StreamFormat outputFormat() const { return platform::StreamFormat::standard(sampleRate, outputs); }

  bool operator==(const DeviceFormat&) const = default;
};

/// The session of a client, for devices that pass it on to a sound server.
struct SessionLabels {
  std::uint32_t identifier = 0;
  std::string category;       ///< `platform::category`.
  std::string mode;           ///< `platform::mode`.
  std::uint64_t options = 0;  ///< Bits of `platform::session_option`.
};

/// The delay that the hardware adds to that of the slices, in hardware frames.
struct DeviceLatency {
  std::uint32_t input = 0;   ///< From the microphone to the slice.
  std::uint32_t output = 0;  ///< From the slice to the speaker.
};

/// A slice: the block of input and output audio of one device callback. It has one plane (array) of 32-bit float
/// samples for each channel of the format with which the device was started, aligned to `DeviceFormat::planeAlignment`.
/// Valid during the callback.
struct DeviceSlice {
  platform::HostTime time{};        ///< Capture time of the first input frame.
  std::uint64_t missingFrames = 0;  ///< Frames that the device lost between the previous slice and this one.
  std::uint32_t frames = 0;         ///< 1 to `DeviceFormat::maxSliceFrames`.
  std::span<const float* const> inputs;
  std::span<float* const> outputs;  ///< Uninitialised; the callback fills them.
  bool hasGap = false;              ///< Audio was lost inside this slice or on its way out; counts as a discontinuity.
};

/// The receiver of a device's slices and events; implemented by the host. `deviceSlice` is called on the device's
/// real-time thread, the other operations on any other thread.
class DeviceCallback {
 public:
  virtual ~DeviceCallback() = default;
  /// Processes a slice: reads the inputs and fills the outputs. Returns how many of the slice's frames belong to the
  /// run: all of them, fewer in the last slice of the run, and 0 after it; the remaining output frames are silent. A
  /// slice that does not match the format ends the run with `badSlice`. Real-time safe.
  virtual std::uint32_t deviceSlice(const DeviceSlice& slice) = 0;
  /// Reports an interruption: no slice will arrive before `until`. The next slice states the number of missing frames.
  virtual void deviceInterrupted(platform::HostTime until) = 0;
  /// Reports that the input has ended, because the microphone is a file, for example. Returns true if the device must
  /// continue with silent input, false if the run must end with the last input frames.
  virtual bool inputEnded() = 0;
  /// Reports that the device ended by itself and delivers no more slices. `failure` is set only if `end` is
  /// `DeviceEnd::failed`. May be called inside `AudioDevice::start`.
  virtual void deviceEnded(platform::DeviceEnd end, std::optional<platform::Failure> failure) = 0;
  /// Reports that `AudioDevice::format` has changed. The device has stopped calling back; the host starts it again.
  virtual void deviceChanged() = 0;
};

/// An audio device; implemented by a back end. `start`, `stop` and `useSides` must be called by one thread at a time
/// and never on the device callback; the other operations are thread-safe. Not real-time safe.
class AudioDevice {
 public:
  virtual ~AudioDevice() = default;

  /// Returns whether the device exists now. The unit service does not find an absent device; it may appear later.
  virtual bool isPresent() const { return true; }
  /// Returns the format. From start to stop it changes only if the device also calls `DeviceCallback::deviceChanged`.
  virtual DeviceFormat format() const = 0;
  /// Returns the reason why the device cannot be started (`noDevice`, `deviceLost`, `serverLost`, `stalled`,
  /// `invalidFile` or `ioFailure`), or
  /// `std::nullopt` if no reason is known.
  virtual std::optional<platform::Failure> whyUnavailable() const = 0;

  /// Starts calling `callback`, which must live until `stop`; calls of `deviceSlice` do not overlap. May block for a
  /// long time. Returns `std::nullopt` on success. Otherwise returns `noDevice`, the failure that `whyUnavailable`
  /// returns, or the failure to open one of the device's own files.
  virtual std::optional<platform::Failure> start(DeviceCallback& callback) = 0;
  /// Stops the device. When `stop` returns, no callback is running and the device's own files are up to date. Does
  /// nothing if the device is not running.
  virtual void stop() = 0;

  /// Sets which sides any client uses; the default is none. May be called before the start and while the device is
  /// running. A device that loses its input fails if the input is used, and otherwise continues with silent input.
  virtual void useSides(bool input, bool output) = 0;

  /// Returns the latency that the hardware reports while the device is running; 0 by default. Thread-safe.
  virtual DeviceLatency latency() const { return {}; }

  /// Sets the session of the first client that is bound to one; nothing if no client is. Called before each start. Does
  /// nothing by default.
  virtual void setSession(const std::optional<SessionLabels>& session) { static_cast<void>(session); }

  /// Returns the inputs or outputs that the device can use.
  virtual std::vector<platform::AudioEndpoint> endpoints(platform::AudioSide side) const = 0;
};

}  // namespace orvane::backend
