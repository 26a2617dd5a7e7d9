#pragma once

#include <cstdint>
#include <functional>
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
  std::uint64_t firstFrame = 0;  ///< Frames handed out before this slice.
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

  virtual platform::RunCount runCount() const = 0;
  virtual platform::DeviceEnd end() const = 0;
  virtual std::optional<platform::Failure> failure() const = 0;
  /// See `platform::Report::endAfterFrames` and `onDeviceEnd`.
  virtual void endAfterFrames(std::uint64_t frames) = 0;
  virtual void onEnd(std::function<void()> notice) = 0;
};

}  // namespace orvane::host
