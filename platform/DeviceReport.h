// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/PlatformError.h"
#include "platform/StreamFormat.h"

namespace orvane::platform {

/// The reason why the audio device stopped calling the host's device callback.
enum class DeviceEnd {
  none,        ///< The device did not end by itself: it is running, was stopped, or was never started.
  inputEnded,  ///< The end of the microphone's file was reached.
  frameLimit,  ///< The limit of `RunControl::endAfterFrames` was reached, or `endRun` was called.
  failed,      ///< The device failed; `DeviceReport::deviceFailure` has the reason.
};

/// The counts of a run: totals since the host was created, over all starts of the device. A slice is the block of
/// frames of one device callback.
struct RunCount {
  std::uint64_t frames = 0;  ///< Hardware frames delivered to clients.
  double sampleRate = 0;     ///< Hertz at which `frames` counts: that of the first start; 0 before the first start.
  std::uint64_t discontinuities =
      0;                       ///< Number of gaps: slices preceded by lost frames, and changes of the device's format.
  std::uint64_t overruns = 0;  ///< Slices dropped from output files because the disk could not keep up.
  std::uint32_t maxSliceFrames = 0;  ///< Length of the longest slice so far, in frames; 0 before the first slice.
};

/// A side of the audio hardware.
enum class AudioSide { input, output };

/// An input or an output that the device can use.
struct AudioEndpoint {
  std::string name;         ///< Unique among the inputs or outputs; selects the endpoint.
  std::string description;  ///< Human-readable; not necessarily unique.
  std::uint32_t channelCount = 0;
  double sampleRate = 0;   ///< Hertz.
  bool isDefault = false;  ///< Whether this endpoint is used if no other is selected.
};

/// The report service for the audio device: returns its formats, the counts of the run, and why the device ended.
/// Thread-safe; not real-time safe. Operations never fail.
class ORVANE_EXPORT DeviceReport {
 public:
  virtual ~DeviceReport() = default;

  /// Returns the host's name: "simulated" or "pipewire".
  virtual std::string hostName() const = 0;
  /// Returns the hardware's input format, in the form of `StreamFormat::standard`. The channel count is 0 if the
  /// hardware has no input or there is no device; the rate is 0 if the hardware reports none.
  virtual StreamFormat hardwareInput() const = 0;
  /// Returns the hardware's output format, in the form of `StreamFormat::standard`. The channel count is 0 if the
  /// hardware has no output or there is no device; the rate is 0 if the hardware reports none.
  virtual StreamFormat hardwareOutput() const = 0;
  /// Returns the device's usual number of frames per slice; individual slices may be shorter or longer. Returns 0
  /// without a device.
  virtual std::uint32_t sliceFrames() const = 0;

  /// Returns the inputs or outputs that are available now; empty without a device.
  virtual std::vector<AudioEndpoint> endpoints(AudioSide side) const = 0;
  /// If it is known that no run can start, returns the reason; otherwise returns `std::nullopt`. The status is
  /// `noDevice` (no device, or the selected input or output does not exist), `serverLost` (the sound server cannot be
  /// reached), `stalled` (the sound server does not run its graph) or that of the device's failure.
  virtual std::optional<Failure> whyUnavailable() const = 0;

  /// Returns the counts so far. The fields are read one after the other, so while the device is running they may belong
  /// to different slices.
  virtual RunCount runCount() const = 0;
  /// Returns why the device ended; starting the device resets it to `none`.
  virtual DeviceEnd deviceEnd() const = 0;
  /// Returns why the device failed, or `std::nullopt` if `deviceEnd()` is not `failed`. Statuses:
  /// - `deviceLost`, `serverLost`: the device, or the connection to the sound server, is gone;
  /// - `stalled`: no callback for ten slices or 500 ms, whichever is longer;
  /// - `invalidFile`, `ioFailure`: the microphone's file cannot be decoded or read to its end;
  /// - `badSlice`: the device delivered a slice that does not match its format;
  /// - `ioFailure`: a rate conversion failed;
  /// - `noDevice`, `noInput`, `noOutput`, `unsupportedFormat`, `ioFailure`: the device changed to a format that its
  ///   clients cannot use.
  virtual std::optional<Failure> deviceFailure() const = 0;
  /// Returns the host call that was refused last, with its status and reason, or `std::nullopt` before the first
  /// refusal. The exceptions of the exported classes contain only the status; this function also returns the reason.
  virtual std::optional<Failure> lastRefusal() const = 0;
};

}  // namespace orvane::platform
