// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/StreamDescription.h"

// The headers of files of linear PCM. The library writes them itself: the sound file library that reads them does not
// write AIFC files of uncompressed big-endian samples, nor float WAVE files with all fields that the format requires.

namespace orvane::host {

/// Returns why a file of this type cannot hold this format, or `std::nullopt` if it can. `fileType` must be one of
/// `platform::sound_file_type` for linear PCM.
std::optional<std::string> whyNotPcm(std::uint32_t fileType, const platform::StreamDescription& format);

/// Returns the header of a file with `frames` frames. Its length does not depend on `frames`. The file type and the
/// format must be ones that `whyNotPcm` accepts.
std::string pcmHeader(std::uint32_t fileType, const platform::StreamDescription& format, std::uint64_t frames);

/// Returns the type of the container that `pcmHeader` describes: for WAVE and RF64 files 'RF64' if the file exceeds 4
/// GiB, else 'WAVE'; for all others `fileType`.
std::uint32_t pcmTypeWritten(std::uint32_t fileType, const platform::StreamDescription& format, std::uint64_t frames);

/// Returns the number of frames that a file of this type can hold.
std::uint64_t maxPcmFrames(std::uint32_t fileType, const platform::StreamDescription& format);

}  // namespace orvane::host
