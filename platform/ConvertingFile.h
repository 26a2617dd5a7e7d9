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

/// Writes recordings: converts samples from a client format to a file format and writes them on a thread of its own.
///
/// Call `create`, then `setClientDataFormat`, any number of times `writeAsync`, then `dispose`. Thread-safe across
/// handles; calls on one handle must not overlap. Only `writeAsync` is real-time safe. Every operation may also return
/// the status of a refusal that a scenario injects.
///
/// A write that fails after `writeAsync` has returned is kept by `FileReport::writeFailure` (the first of a run) and
/// logged. Later frames of that file are dropped; the frames before the failure stay readable.
///
/// The file on disk is valid at all times and lacks at most the last half second, also after the process was killed.
///
/// An existing file keeps its content until the first frames are written, on the service's thread. A file that is new
/// or was empty gets a header for no frames in `create`. A recording without frames leaves:
///
/// - the old content, if there was any;
/// - the state before `create` (no file, or an empty one) if the audio device was not started between `create` and
///   `dispose`, or if writing the first frames failed;
/// - otherwise a valid file of no frames.
///
/// `FileReport::writtenFiles` lists a file only if the recording wrote its content. If the process exits without
/// `dispose`, the file is completed; without frames, a file that is new or was empty stays a valid file of no frames.
class ORVANE_EXPORT ConvertingFile {
 public:
  /// Identifies an open file; 0 is none. At most 256 files are open at a time.
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
  /// - `unsupportedType`, `unsupportedFormat`: a wrong `fileType`; a wrong `dataFormat`, or a layout;
  /// - `notFound`: a folder of the path does not exist;
  /// - `noPermission`: the system denies access, the file exists and `existing` is `refuse`, the host reads the file
  ///   (the microphone's file or the scenario), the host writes it for another purpose (the speaker's file), or another
  ///   process that uses this library has it open;
  /// - `notRegularFile`: a folder, a device or a pipe;
  /// - `diskFull`: no space, or the quota is exceeded;
  /// - `ioFailure`: any other error of the system, too many open recordings, no memory or no thread.
  virtual Status create(const std::string& path, std::uint32_t fileType, const StreamDescription& dataFormat,
                        const ChannelLayout* layout, ExistingFile existing, Handle& file) = 0;

  /// Sets the format of the samples given to `writeAsync`. It must be `StreamFormat::standard` (32-bit float, one
  /// buffer a channel) at the file's rate and channel count. Samples are multiplied by 32768, rounded to the nearest
  /// integer (ties to even) and clamped to -32768..32767; not-a-number becomes 0.
  ///
  /// Returns `badParameter` for an unknown handle, `unsupportedFormat` for another format.
  virtual Status setClientDataFormat(Handle file, const StreamDescription& format) = 0;

  /// Copies `frames` frames into a queue of two seconds, to be converted and written later. `list` has one buffer a
  /// channel, each with at least `frames` samples; it may be null if `frames` is 0, which writes nothing. Real-time
  /// safe; one thread at a time for each handle.
  ///
  /// Returns `badParameter` for an unknown handle or a list that does not fit the client format, `wrongState` before
  /// `setClientDataFormat`, `overrun` if the queue had no room: then all of these frames are dropped, and
  /// `RunCount::overruns` counts them as one slice. After a failed write, frames are dropped with `success`.
  virtual Status writeAsync(Handle file, std::uint32_t frames, RenderBufferList* list) = 0;

  /// Writes all pending frames, completes and closes the file, and invalidates the handle. A recording without frames
  /// is treated as described above. Returns `badParameter` for an unknown handle. A failed write does not change the
  /// result; see `FileReport::writeFailure`.
  virtual Status dispose(Handle file) = 0;
};

}  // namespace orvane::platform
