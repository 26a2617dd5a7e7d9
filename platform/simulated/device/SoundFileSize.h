// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

namespace orvane::simulated {

/// The sound's length in a file, in bytes as they are stored.
struct SoundFileSize {
  std::optional<std::uint64_t> declared;  ///< By the header; nothing if it leaves the size open.
  std::uint64_t present = 0;              ///< From the beginning of the sound to the end of the file.
  /// The place of the size in the header, if it is one of 32 bits that libsndfile has to be told is open.
  std::optional<std::uint64_t> openSizeAt = {};
};

/// Reads the size of the sound that the header of a WAVE, RF64, AIFF, AU, W64 or CAF file declares; 0 and all bits set
/// leave it open. Nothing for other files, and for one whose sound was not found. Safe on any content; moves no file
/// position.
std::optional<SoundFileSize> soundFileSize(int file);

/// Whether the length that a decoder tells of an MPEG file comes from a header; otherwise it is an estimate.
bool hasMpegLength(int file);

}  // namespace orvane::simulated
