// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

namespace orvane::host {

/// The size of a sound file's sample data, in bytes, as declared and as present.
struct SoundFileSize {
  std::optional<std::uint64_t> declared;  ///< The size according to the header; empty if the header leaves it unknown.
  std::uint64_t present = 0;              ///< The size from the beginning of the sample data to the end of the file.
  /// The offset of a 32-bit size field in the header that must be presented to libsndfile as "unknown" (all bits set).
  std::optional<std::uint64_t> openSizeAt = {};
};

/// Returns the size of the sample data of a WAVE, RF64, AIFF, AU, W64 or CAF file; in the header, a size of 0 or with
/// all bits set means "unknown". Returns `std::nullopt` for other files and if no sample data is found. `file` must be
/// a descriptor open for reading; its position does not change. Any file content is handled safely.
std::optional<SoundFileSize> soundFileSize(int file);

/// Returns whether an MPEG file has a header that states its length. Without such a header, decoders estimate the
/// length.
bool hasMpegLength(int file);

}  // namespace orvane::host
