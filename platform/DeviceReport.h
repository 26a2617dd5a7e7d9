// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Export.h"
#include "platform/Failure.h"
#include "platform/StreamFormat.h"

namespace orvane::platform {

/// Why the device no longer calls back.
enum class DeviceEnd {
  none,        ///< It has not ended by itself: it runs, was stopped, or was never started.
  inputEnded,  ///< The microphone's file is at its end.
  frameLimit,  ///< The limit set by `RunControl::endAfterFrames` was reached.
  failed,      ///< The device failed; `DeviceReport::deviceFailure` says why.
};

/// Counts of a run. A run begins with the first start after the host was made and never restarts.
struct RunCount {
  std::uint64_t frames = 0;           ///< Frames handed to clients.
  std::uint64_t discontinuities = 0;  ///< Places where frames are missing.
  std::uint64_t overruns = 0;         ///< Slices dropped from output files because the disk could not keep up.
  std::uint32_t maxSliceFrames = 0;   ///< The longest slice that came; 0 before the first.
};

/// The device as the host sees it: formats, counts, and why it ended. Any thread; not real-time safe.
class ORVANE_EXPORT DeviceReport {
 public:
  virtual ~DeviceReport() = default;

  /// The host's name: "simulated" or "pipewire".
  virtual std::string hostName() const = 0;
  /// Formats of the hardware; a channel count of 0 where it has no such side, a rate of 0 where it reports none.
  virtual StreamFormat hardwareInput() const = 0;
  virtual StreamFormat hardwareOutput() const = 0;
  /// Frames a slice, as the device announces them; single slices may differ.
  virtual std::uint32_t sliceFrames() const = 0;

  virtual RunCount runCount() const = 0;
  virtual DeviceEnd deviceEnd() const = 0;
  /// Why the device failed: `deviceLost`, `serverLost`, `stalled`, `invalidFile` or `ioFailure` (the microphone's
  /// file), `badSlice`, and a sentence. Nothing where `deviceEnd` is not `failed`. A device that has not called back
  /// for ten slices, and for half a second at least, has stalled.
  virtual std::optional<Failure> deviceFailure() const = 0;
  /// The host call that was refused last, with its sentence; nothing where none was. The classes raise the status
  /// alone, so this is where a program finds the cause.
  virtual std::optional<Failure> lastRefusal() const = 0;
};

}  // namespace orvane::platform
