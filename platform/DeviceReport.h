// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Export.h"
#include "platform/Failure.h"
#include "platform/StreamFormat.h"

namespace orvane::platform {

/// The reason why the device stopped calling back.
enum class DeviceEnd {
  none,        ///< It did not end by itself: it is running, was stopped, or was never started.
  inputEnded,  ///< The end of the microphone's file was reached.
  frameLimit,  ///< The limit set by `RunControl::endAfterFrames` was reached.
  failed,      ///< The device failed; `DeviceReport::deviceFailure` has the reason.
};

/// Counts since the host was made, over all starts of the device.
struct RunCount {
  std::uint64_t frames = 0;           ///< Hardware frames delivered to clients.
  std::uint64_t discontinuities = 0;  ///< Gaps: slices that follow missing frames, and changes of the device's format.
  std::uint64_t overruns = 0;         ///< Slices dropped from output files because the disk could not keep up.
  std::uint32_t maxSliceFrames = 0;   ///< Frames of the longest slice so far; 0 before the first.
};

/// Reports the audio device's formats, counts and end. Thread-safe; not real-time safe. Operations never fail.
class ORVANE_EXPORT DeviceReport {
 public:
  virtual ~DeviceReport() = default;

  /// Returns the host's name: "simulated" or "pipewire".
  virtual std::string hostName() const = 0;
  /// Returns the hardware's format of each side, as `StreamFormat::standard`. The channel count is 0 if the hardware
  /// lacks that side or there is no device; the rate is 0 if the hardware reports none.
  virtual StreamFormat hardwareInput() const = 0;
  virtual StreamFormat hardwareOutput() const = 0;
  /// Returns the device's usual frames per slice; single slices may differ. 0 without a device.
  virtual std::uint32_t sliceFrames() const = 0;

  /// Returns the counts so far. The fields are read one by one while the device may be running.
  virtual RunCount runCount() const = 0;
  /// Returns why the device ended; starting the device resets it to `none`.
  virtual DeviceEnd deviceEnd() const = 0;
  /// Returns why the device failed; nothing if `deviceEnd()` is not `failed`. Statuses:
  /// - `deviceLost`, `serverLost`: the device, or the connection to the sound server, is gone;
  /// - `stalled`: no callback for ten slices, and for at least 500 ms;
  /// - `invalidFile`, `ioFailure`: the microphone's file cannot be decoded or read to its end;
  /// - `badSlice`: the device delivered a slice that does not fit its format;
  /// - `ioFailure` also for a rate conversion that failed, and `noDevice`, `noInput`, `noOutput`, `unsupportedFormat`
  ///   or `ioFailure` for a device that changed to a format its clients cannot use.
  virtual std::optional<Failure> deviceFailure() const = 0;
  /// Returns the host call that was refused last, with its status and reason; nothing before the first refusal. The
  /// exported classes raise the status only; this is the reason behind it.
  virtual std::optional<Failure> lastRefusal() const = 0;
};

}  // namespace orvane::platform
