// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

namespace orvane::simulated {

/// The size of a file's sample data, in bytes.
struct SoundFileSize {
  std::optional<std::uint64_t> declared;  ///< According to the header; nothing if it leaves the size unknown.
  std::uint64_t present = 0;              ///< From the beginning of the sample data to the end of the file.
  /// The offset of a 32-bit size in the header that must be presented to libsndfile as unknown (all bits set).
  std::optional<std::uint64_t> openSizeAt = {};
};

/// Returns the size that the header of a WAVE, RF64, AIFF, AU, W64 or CAF file declares for its sample data; a size of
/// 0 or with all bits set means unknown. Returns nothing for other files and if the sample data is not found. `file` is
/// a descriptor open for reading, whose position does not change. Safe for any content.
std::optional<SoundFileSize> soundFileSize(int file);

/// Whether an MPEG file has a header with its length; without it, decoders estimate the length.
bool hasMpegLength(int file);

}  // namespace orvane::simulated
