// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/Clock.h"
#include "platform/DeviceReport.h"
#include "platform/Failure.h"
#include "platform/StreamFormat.h"

namespace orvane::backend {

/// The format of a device's hardware, and the limits of all devices.
struct DeviceFormat {
  double sampleRate = 0;          ///< Hertz; 0 if the hardware reports none.
  std::uint32_t inputs = 0;       ///< Input channels; 0 if there is no input.
  std::uint32_t outputs = 0;      ///< Output channels; 0 if there is no output.
  std::uint32_t sliceFrames = 0;  ///< Usual frames per slice; single slices may differ.

  /// Maximum frames per slice.
  static constexpr std::uint32_t maxSliceFrames = 8192;
  /// Maximum channels per side.
  static constexpr std::uint32_t maxChannels = 64;
  /// Alignment of each plane, in bytes.
  static constexpr std::size_t planeAlignment = 16;

  /// The format of each side, as units exchange samples.
  platform::StreamFormat inputFormat() const { return platform::StreamFormat::standard(sampleRate, inputs); }
  platform::StreamFormat outputFormat() const { return platform::StreamFormat::standard(sampleRate, outputs); }

  bool operator==(const DeviceFormat&) const = default;
};

/// One slice of duplex audio: one plane of 32-bit float samples for each channel of the format that the device was
/// started with, aligned to `DeviceFormat::planeAlignment`. Valid during the callback.
struct DeviceSlice {
  platform::HostTime time{};        ///< Capture time of the first input frame.
  std::uint64_t missingFrames = 0;  ///< Frames that the device lost between the previous slice and this one.
  std::uint32_t frames = 0;         ///< 1 to `DeviceFormat::maxSliceFrames`.
  std::span<const float* const> inputs;
  std::span<float* const> outputs;  ///< To be filled; uninitialised.
};

/// Receives a device's slices and events; implemented by the host. `deviceSlice` is called on the device callback, the
/// other operations on any other thread.
class DeviceCallback {
 public:
  virtual ~DeviceCallback() = default;
  /// Processes a slice: reads the inputs and fills the outputs. Returns the number of frames that belong to the run:
  /// fewer than the slice's in its last slice, 0 after that; the remaining output frames are silent. A slice that does
  /// not fit the format ends the run with `badSlice`. Real-time safe.
  virtual std::uint32_t deviceSlice(const DeviceSlice& slice) = 0;
  /// Reports an interruption: no slice will arrive before `until`. The next slice has the number of missing frames.
  virtual void deviceInterrupted(platform::HostTime until) = 0;
  /// Reports that the input has ended, as a file does. Returns true if the device is to continue with silence, false if
  /// it is to end with its last frames.
  virtual bool inputEnded() = 0;
  /// Reports that the device ended by itself and delivers no more slices. `failure` is given with `DeviceEnd::failed`
  /// only. May be called inside `AudioDevice::start`.
  virtual void deviceEnded(platform::DeviceEnd end, std::optional<platform::Failure> failure) = 0;
  /// Reports that `AudioDevice::format` has changed. The device has stopped calling back; the host starts it again.
  virtual void deviceChanged() = 0;
};

/// An audio device; implemented by a back end. `start`, `stop` and `useInput` are called by one thread at a time, never
/// on the callback; the other operations are thread-safe. Not real-time safe.
class AudioDevice {
 public:
  virtual ~AudioDevice() = default;

  /// Returns the format, which is constant from start to stop except for a change reported by `deviceChanged`.
  virtual DeviceFormat format() const = 0;
  /// Returns the reason if it is known that the device cannot be started: `deviceLost`, `serverLost`, `invalidFile` or
  /// `ioFailure`. Otherwise nothing.
  virtual std::optional<platform::Failure> whyUnavailable() const = 0;

  /// Starts calling `callback`, which must live until `stop`; calls do not overlap. May block for long. Returns nothing
  /// on success, otherwise the reason: `noDevice`, what `whyUnavailable` returns, or the failure of a file of the
  /// device.
  virtual std::optional<platform::Failure> start(DeviceCallback& callback) = 0;
  /// Stops calling back. When it returns, no callback is running and the device's own files are up to date. Succeeds if
  /// the device is not running.
  virtual void stop() = 0;

  /// Sets whether a client uses the input; may be called before the start and while the device is running. Default:
  /// false. A device that loses its input fails if the input is used, and otherwise continues with silent input.
  virtual void useInput(bool taken) = 0;
};

}  // namespace orvane::backend
