// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/PlatformError.h"

namespace orvane::platform {

/// A completed recording, as reported by `FileReport::writtenFiles`.
struct WrittenFile {
  std::string path;          ///< The path given to `ConvertingFile::create` or `SoundFileService::create`.
  std::uint32_t type = 0;    ///< The container that was written, one of `sound_file_type`; RF64 only beyond 4 GiB.
  std::uint64_t frames = 0;  ///< Frames in the file.
};

/// The report service for files: returns the recordings that a host completed and the first failed write. Thread-safe;
/// not real-time safe. Operations never fail.
class ORVANE_EXPORT FileReport {
 public:
  virtual ~FileReport() = default;

  /// Returns the recordings completed so far, in order of completion, including those cut short by a failure. The list
  /// does not include the simulated speaker's file.
  virtual std::vector<WrittenFile> writtenFiles() const = 0;
  /// Returns the first failed background write to a recording or to the speaker's file, or `std::nullopt` if there was
  /// none. The status is `diskFull`, `noPermission`, `ioFailure` or another file-system status of
  /// `ConvertingFile::create`; the field `call` is empty.
  virtual std::optional<Failure> writeFailure() const = 0;
};

}  // namespace orvane::platform
