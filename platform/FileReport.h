// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/Failure.h"

namespace orvane::platform {

/// A completed recording.
struct WrittenFile {
  std::string path;          ///< As given to `ConvertingFile::create`.
  std::uint32_t type = 0;    ///< The container as written, a four-character code: 'WAVE', 'RF64'.
  std::uint64_t frames = 0;  ///< Frames in the file.
};

/// Reports the files that a host wrote. Thread-safe; not real-time safe. Operations never fail.
class ORVANE_EXPORT FileReport {
 public:
  virtual ~FileReport() = default;

  /// Returns the recordings completed so far, in order of completion, including those cut short by a failure. The
  /// simulated speaker's file is not among them.
  virtual std::vector<WrittenFile> writtenFiles() const = 0;
  /// Returns the first failed write that no call reported, to a recording or to the speaker's file; nothing if there
  /// was none. Statuses: `diskFull`, `noPermission`, `ioFailure` and the others of `ConvertingFile::create` that the
  /// file system causes. `call` is empty.
  virtual std::optional<Failure> writeFailure() const = 0;
};

}  // namespace orvane::platform
