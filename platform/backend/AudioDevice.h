#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/Clock.h"
#include "platform/Report.h"
#include "platform/Status.h"

namespace orvane::host {

/// What a device's hardware does.
struct DeviceFormat {
  double sampleRate = 0;  ///< Hertz; 0 where the hardware reports none.
  std::uint32_t inputs = 0;
  std::uint32_t outputs = 0;
  std::uint32_t sliceFrames = 0;

  /// No device hands out longer slices.
  static constexpr std::uint32_t mostSliceFrames = 8192;
  /// No device has more channels on a side.
  static constexpr std::uint32_t mostChannels = 64;
};

/// One slice of duplex sound. Planes are 32-bit float, one a channel, 16-byte aligned.
struct DeviceSlice {
  platform::HostTime time{};     ///< When the first input frame was captured.
  std::uint64_t firstFrame = 0;  ///< Frames since the device's first start, those that are missing included.
  std::uint32_t frames = 0;      ///< 1 to `DeviceFormat::mostSliceFrames`.
  std::span<const float* const> inputs;
  std::span<float* const> outputs;  ///< To be filled; the content before is undefined.
};

/// Who is called for each slice.
class DeviceCallback {
 public:
  virtual ~DeviceCallback() = default;
  /// On the device's thread; must be real-time safe.
  virtual void deviceSlice(const DeviceSlice& slice) = 0;
  /// Frames are missing, and no slice comes before `until`: an interruption that the device knows of and counts. Not on
  /// the device callback.
  virtual void deviceInterrupted(platform::HostTime until) = 0;
  /// The device ends by itself: no slice comes any more, and it does not run once this has returned. `failure` comes
  /// with `DeviceEnd::failed`. Not on the device callback; inside `AudioDevice::start` where it is already there.
  virtual void deviceEnded(platform::DeviceEnd end, std::optional<platform::Failure> failure) = 0;
};

/// An audio device: what a back end implements. Control calls come from one thread at a time, never from the callback.
class AudioDevice {
 public:
  virtual ~AudioDevice() = default;

  virtual std::string hostName() const = 0;
  virtual DeviceFormat format() const = 0;

  /// Starts calling back, each slice after the one before it has returned.
  virtual platform::Status start(DeviceCallback& callback) = 0;
  /// Stops calling back; no callback runs once this has returned, and files of the device's own are complete.
  virtual void stop() = 0;
  /// False before the start, after the stop, and once the device has ended by itself.
  virtual bool isRunning() const = 0;

  /// Whether anybody takes the input, told before the start and later on. A device whose input goes away fails where
  /// the input is taken, and goes on in silence where it is not.
  virtual void useInput(bool taken) = 0;

  /// The host fills in what it counts itself.
  virtual platform::RunCount runCount() const = 0;
  /// See `platform::Report::endAfterFrames`.
  virtual void endAfterFrames(std::uint64_t frames) = 0;
};

}  // namespace orvane::host
