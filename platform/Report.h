#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/Export.h"
#include "platform/Status.h"
#include "platform/StreamFormat.h"

namespace orvane::platform {

enum class UnitInstance : std::uint32_t;

/// Something that went wrong where no caller could be told.
struct Failure {
  Status status = status::success;
  std::string reason;  ///< A sentence for people.
};

/// Why the device no longer calls back.
enum class DeviceEnd {
  none,        ///< It has not ended by itself: it runs, was stopped, or was never started.
  inputEnded,  ///< The microphone's file is at its end.
  frameLimit,  ///< The limit set by `endAfterFrames` was reached.
  failed,      ///< The device failed; `Report::deviceFailure` says why.
};

/// The device's count of a run. A run begins with the first start after the host was made and never restarts.
struct RunCount {
  std::uint64_t frames = 0;           ///< Frames handed to callbacks.
  std::uint64_t discontinuities = 0;  ///< Places where frames are missing.
  std::uint64_t overruns = 0;         ///< Slices that files which are written lack, as the disk was too slow.
};

/// A recording that was completed.
struct WrittenFile {
  std::string path;
  std::uint32_t type = 0;    ///< A four-character code, first character most significant.
  std::uint64_t frames = 0;  ///< In the file.
};

/// What a unit's client formats add to the way of the sound, in hardware frames. Constant from start to stop.
struct UnitLatency {
  std::uint32_t input = 0;   ///< How late captured input reaches the input handler.
  std::uint32_t output = 0;  ///< How far ahead of the hardware the output provider is asked.
};

/// What programs ask of a host beyond what the audio classes themselves need. Any thread; not real-time safe.
class ORVANE_EXPORT Report {
 public:
  virtual ~Report() = default;

  /// The host's name: "simulated" or "pipewire".
  virtual std::string hostName() const = 0;
  /// Formats of the hardware; a channel count of 0 where it has no such side.
  virtual StreamFormat hardwareInput() const = 0;
  virtual StreamFormat hardwareOutput() const = 0;
  /// Frames a slice.
  virtual std::uint32_t sliceFrames() const = 0;

  /// What the unit's formats cost since its last start; zeros where it has not run or does not exist.
  virtual UnitLatency unitLatency(UnitInstance unit) const = 0;

  virtual RunCount runCount() const = 0;
  virtual DeviceEnd deviceEnd() const = 0;
  /// Why the device failed, where it did: `deviceLost`, `serverLost` or `stalled`, and a sentence. A device that has
  /// not called back for ten slices, and for half a second at least, has stalled.
  virtual std::optional<Failure> deviceFailure() const = 0;
  /// The first write that failed behind a class that swallows it by contract, or in the device's own files.
  virtual std::optional<Failure> writeFailure() const = 0;
  /// The recording that was completed last, whole or cut short by a failure; not the device's own files.
  virtual std::optional<WrittenFile> writtenFile() const = 0;

  /// `notice` runs once, on a worker, at the first write failure; at once where it has already been.
  virtual void onWriteFailure(std::function<void()> notice) = 0;

  /// Ends the run with the first slice at whose end at least `frames` frames were handed out. A microphone file that
  /// ends earlier is followed by silence. Set before the device starts; 0 is no limit.
  virtual void endAfterFrames(std::uint64_t frames) = 0;
  /// `notice` runs once, on a worker, when the device has ended by itself; at once where it already has.
  virtual void onDeviceEnd(std::function<void()> notice) = 0;
};

}  // namespace orvane::platform
