// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "platform/ChannelLayout.h"
#include "platform/Export.h"
#include "platform/RenderBufferList.h"
#include "platform/Status.h"
#include "platform/StreamDescription.h"

namespace orvane::platform {

/// The file service: writes recordings. Converts samples from a client format to a file format and writes them on the
/// service's own thread.
///
/// Call `create`, then `setClientDataFormat`, any number of times `writeAsync`, then `dispose`. Thread-safe across
/// handles; calls on one handle must not overlap. Only `writeAsync` is real-time safe. Every operation may also return
/// a failure status that a scenario (the simulated device's script of faults) injects.
///
/// A write that fails after `writeAsync` has returned is logged, and `FileReport::writeFailure` returns the first such
/// failure of a run. Later frames of that file are dropped; the frames before the failure stay readable.
///
/// The file on disk is valid at all times, and at most the last half second is missing from it, even if the process is
/// killed.
///
/// An existing file keeps its content until the first frames are written, on the service's thread. A file that is new
/// or was empty gets a header for no frames in `create`. A recording without frames leaves at the path:
///
/// - the old content, if there was any;
/// - the state before `create` (no file, or an empty one) if the audio device was not started between `create` and
///   `dispose`, or if writing the first frames failed;
/// - otherwise a valid file of no frames.
///
/// `FileReport::writtenFiles` lists a file only if the recording wrote its content. If the process exits without
/// `dispose`, the file is completed at exit; if no frames were recorded, a file that is new or was empty is left as a
/// valid file of no frames.
class ORVANE_EXPORT ConvertingFile {
 public:
  /// Identifies an open file; `none` (0) is no file. At most 256 files can be open at a time.
  enum class Handle : std::uint32_t { none = 0 };

  /// The type of the platform's native container, 'RF64': a WAVE file that becomes an RF64 file when it exceeds 4 GiB.
  static constexpr std::uint32_t nativeContainer = 0x52463634;

  /// Treatment of a file that is already at the path.
  enum class ExistingFile {
    refuse,  ///< `create` fails with `noPermission`.
    erase,   ///< Replace its content. If a handle of this process is writing the file, that recording is completed
             ///< first, and its later writes are dropped.
  };

  virtual ~ConvertingFile() = default;

  /// Opens a file for writing and sets `file` to its handle, or to `none` on failure. After a failure the file system
  /// is as it was before the call.
  ///
  /// `path` is a file-system path. `fileType` must be `nativeContainer`. `dataFormat` must be packed, interleaved,
  /// 16-bit signed linear PCM in native byte order with 1 to 256 channels at a whole number of hertz from 1 to 6144000,
  /// and `layout` must be null.
  ///
  /// Returns:
  /// - `unsupportedType`: `fileType` is not supported;
  /// - `unsupportedFormat`: `dataFormat` is not supported, or `layout` is not null;
  /// - `notFound`: a folder of the path does not exist;
  /// - `noPermission`: the system denies access, the file exists and `existing` is `refuse`, the host reads the file
  ///   (the microphone's file or the scenario), the host writes it for another purpose (the speaker's file), or another
  ///   process that uses this library has it open;
  /// - `notRegularFile`: the path leads to a folder, a device or a pipe;
  /// - `diskFull`: the disk is full or the quota is exceeded;
  /// - `ioFailure`: any other error of the system, too many open recordings, no memory or no thread.
  virtual Status create(const std::string& path, std::uint32_t fileType, const StreamDescription& dataFormat,
                        const ChannelLayout* layout, ExistingFile existing, Handle& file) = 0;

  /// Sets the format of the samples given to `writeAsync`. It must be `StreamFormat::standard` (32-bit float, one
  /// buffer per channel) at the file's rate and channel count. Samples are multiplied by 32768, rounded to the nearest
  /// integer (ties to even) and clamped to -32768..32767; not-a-number becomes 0.
  ///
  /// Returns `badParameter` for an unknown handle and `unsupportedFormat` for any other format.
  virtual Status setClientDataFormat(Handle file, const StreamDescription& format) = 0;

  /// Copies `frames` frames into a queue of two seconds, to be converted and written later. `list` must have one buffer
  /// per channel, each with at least `frames` samples. If `frames` is 0, `list` may be null, and nothing is written.
  /// Real-time safe; each handle must be used by one thread at a time.
  ///
  /// Returns `badParameter` for an unknown handle or a list that does not match the client format, and `wrongState`
  /// before `setClientDataFormat`. If the queue has too little room, drops all `frames` frames, returns `overrun` and
  /// adds 1 to `RunCount::overruns`. After a failed write to the disk, frames are dropped and the result is `success`.
  virtual Status writeAsync(Handle file, std::uint32_t frames, RenderBufferList* list) = 0;

  /// Writes all pending frames, completes and closes the file, and invalidates the handle. The class description states
  /// what a recording without frames leaves. Returns `badParameter` for an unknown handle. A failed write does not
  /// change the returned status; `FileReport::writeFailure` returns it.
  virtual Status dispose(Handle file) = 0;
};

}  // namespace orvane::platform
