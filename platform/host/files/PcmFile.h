// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/StreamDescription.h"
#include "platform/host/Result.h"
#include "platform/host/files/PacketFile.h"

// Files of linear PCM: a packet is a frame.

namespace orvane::host {

/// Opens any file of linear PCM that libsndfile reads. Fails with `unsupportedFormat` for other data formats.
Result<std::unique_ptr<PacketReader>> openPcmFile(FileDescriptor file, const std::string& path);
/// Creates the writer of a WAVE, RF64, AIFF, AIFC or AU file.
Result<std::unique_ptr<PacketWriter>> makePcmWriter(const std::string& path, std::uint32_t fileType,
                                                    const platform::StreamDescription& format);

}  // namespace orvane::host
