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

/// The format of a device's hardware.
struct DeviceFormat {
  double sampleRate = 0;  ///< Hertz; 0 where the hardware reports none.
  std::uint32_t inputs = 0;
  std::uint32_t outputs = 0;
  std::uint32_t sliceFrames = 0;  ///< The usual length of a slice; single slices may differ.

  /// Limit of a slice's length.
  static constexpr std::uint32_t maxSliceFrames = 8192;
  /// Limit of the channels on a side.
  static constexpr std::uint32_t maxChannels = 64;
  /// Alignment of each plane, in bytes.
  static constexpr std::size_t planeAlignment = 16;

  /// The format of each side, as units exchange samples.
  platform::StreamFormat inputFormat() const { return platform::StreamFormat::standard(sampleRate, inputs); }
  platform::StreamFormat outputFormat() const { return platform::StreamFormat::standard(sampleRate, outputs); }

  bool operator==(const DeviceFormat&) const = default;
};

/// One slice of duplex sound, in planes of 32-bit float samples: one a channel of the format that the device was
/// started with.
struct DeviceSlice {
  platform::HostTime time{};        ///< When the first input frame was captured.
  std::uint64_t missingFrames = 0;  ///< Frames that the device lost between the slice before and this one.
  std::uint32_t frames = 0;         ///< 1 to `DeviceFormat::maxSliceFrames`.
  std::span<const float* const> inputs;
  std::span<float* const> outputs;  ///< To be filled; the content before is undefined.
};

/// Receives what a device delivers. `deviceSlice` is called on the device callback, everything else off it, on any
/// thread.
class DeviceCallback {
 public:
  virtual ~DeviceCallback() = default;
  /// Fills the outputs and returns how many of the slice's frames took part in the run: fewer at its last slice, none
  /// after it. The outputs of the others are silent. Real-time safe.
  virtual std::uint32_t deviceSlice(const DeviceSlice& slice) = 0;
  /// No slice comes before `until`: an interruption that the device knows of. The slice after it says how many frames
  /// are missing.
  virtual void deviceInterrupted(platform::HostTime until) = 0;
  /// The input has no more frames, as a file may. True if the device goes on with silence in their place; false if it
  /// ends with the frames that it has.
  virtual bool inputEnded() = 0;
  /// The device ends by itself: no slice comes any more. `failure` comes with `DeviceEnd::failed`. May be called inside
  /// `AudioDevice::start`.
  virtual void deviceEnded(platform::DeviceEnd end, std::optional<platform::Failure> failure) = 0;
  /// `AudioDevice::format` gives another format from now on. The device no longer calls back; it is started again.
  virtual void deviceChanged() = 0;
};

/// An audio device: implemented by a back end. Control calls (`start`, `stop`, `useInput`) come from one thread at a
/// time, never from the callback; the others on any thread.
class AudioDevice {
 public:
  virtual ~AudioDevice() = default;

  /// Fixed from start to stop; a device whose format changes says so with `deviceChanged`.
  virtual DeviceFormat format() const = 0;
  /// Why the device cannot be started, where that is known before trying.
  virtual std::optional<platform::Failure> whyUnavailable() const = 0;

  /// Starts calling back, each slice after the one before it has returned. May take long. Returns why it could not
  /// start, or nothing.
  virtual std::optional<platform::Failure> start(DeviceCallback& callback) = 0;
  /// Stops calling back; no callback runs once this has returned, and files of the device's own are complete.
  virtual void stop() = 0;

  /// Whether a client takes the input; set before the start and changed later. A device whose input goes away fails
  /// where the input is taken, and goes on in silence where it is not.
  virtual void useInput(bool taken) = 0;
};

}  // namespace orvane::backend
