// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/Failure.h"

namespace orvane::platform {

/// A recording that was written and completed.
struct WrittenFile {
  std::string path;
  std::uint32_t type = 0;    ///< The container as it is in the file, a four-character code: 'WAVE', 'RF64', ...
  std::uint64_t frames = 0;  ///< In the file.
};

/// The files that a run wrote. Any thread; not real-time safe.
class ORVANE_EXPORT FileReport {
 public:
  virtual ~FileReport() = default;

  /// The recordings that were completed so far, whole or cut short by a failure, in order of completion; not the
  /// device's own files.
  virtual std::vector<WrittenFile> writtenFiles() const = 0;
  /// The first write that failed behind a class that swallows it by contract, or in the device's own files.
  virtual std::optional<Failure> writeFailure() const = 0;
};

}  // namespace orvane::platform
