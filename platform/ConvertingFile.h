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

/// The service that writes recordings: takes sound in one format, keeps it in another, and does both away from the
/// device callback that hands it over.
///
/// A file is used in this order: `create`, `setClientDataFormat`, any number of `writeAsync`, `dispose`. Calls on one
/// handle come one at a time, so nothing writes any more when it is disposed. A write that fails later, on the
/// service's own thread, has nobody to tell: `FileReport::writeFailure` keeps the first one, and what came before it
/// stays readable.
///
/// While a file is being written, other programs find in it all but the last half second, also after the process was
/// killed.
///
/// A file that exists keeps its content until the first frames are written, on the service's own thread. A new file, or
/// one that was empty, becomes a valid file without sound in `create`. A recording that got no frames leaves:
///
/// - the old content, where there was any;
/// - what was there before `create` (no file, or an empty one) if the audio device was not started between `create` and
///   `dispose`, so that a run that never began leaves no trace, and if the first frames could not be written;
/// - otherwise a valid file without sound.
///
/// `FileReport::writtenFiles` lists a file only if its content was written by the recording. A process that exits
/// without `dispose` leaves a valid file without sound in place of no or an empty file.
class ORVANE_EXPORT ConvertingFile {
 public:
  /// A file that the service has open; 0 is none.
  enum class Handle : std::uint32_t { none = 0 };

  /// The type of the platform's native container, 'RF64': a WAVE file, and RF64 from the moment on when it outgrows the
  /// 4 GiB of one.
  static constexpr std::uint32_t nativeContainer = 0x52463634;

  /// Treatment of a file that is already at the path.
  enum class ExistingFile {
    refuse,
    erase,  ///< Replace its content. A handle that this process has on it is completed first; its later writes go
            ///< nowhere.
  };

  virtual ~ConvertingFile() = default;

  /// Makes a file of sound in `dataFormat`: the native container takes 16-bit signed integers, interleaved, packed, in
  /// the machine's byte order, 1 to 256 channels at a whole number of hertz, and no channel layout. `path` is a
  /// file-system path. After a refusal the file system is as it was before the call.
  ///
  /// Statuses: `unsupportedType`, `unsupportedFormat`, and what the file system says: `notFound`, `noPermission` (also
  /// for a file that must not be replaced, that the host reads, or that another program of this kind uses),
  /// `notRegularFile`, `diskFull`, `ioFailure`. Not real-time safe.
  virtual Status create(const std::string& path, std::uint32_t fileType, const StreamDescription& dataFormat,
                        const ChannelLayout* layout, ExistingFile existing, Handle& file) = 0;

  /// Says in which format sound will be written: 32-bit float, one buffer a channel, at the file's rate and channel
  /// count. Another one is `unsupportedFormat`. Full scale 1.0 becomes 32768; samples are rounded to the nearest step,
  /// and those beyond full scale held at it. Not real-time safe.
  virtual Status setClientDataFormat(Handle file, const StreamDescription& format) = 0;

  /// Copies `frames` frames, to be converted and written later. `list` may be null with a count of 0. Real-time safe.
  ///
  /// Statuses: `wrongState` before the client format was set, `badParameter` for a list that does not fit the format,
  /// `overrun` where the writer is so far behind that these frames were dropped, all of them.
  virtual Status writeAsync(Handle file, std::uint32_t frames, RenderBufferList* list) = 0;

  /// Writes what is pending and closes the file; the handle is gone then. A file without sound is removed as told
  /// above. `badParameter` where there is no such handle. Not real-time safe.
  virtual Status dispose(Handle file) = 0;
};

}  // namespace orvane::platform
