// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/StreamDescription.h"
#include "platform/host/Result.h"
#include "platform/host/files/PacketFile.h"

// FLAC files: a packet is a FLAC frame, and the cookie is the content of the STREAMINFO block.

namespace orvane::host {

Result<std::unique_ptr<PacketReader>> openFlacFile(FileDescriptor file, const std::string& path);
Result<std::unique_ptr<PacketWriter>> makeFlacWriter(const std::string& path,
                                                     const platform::StreamDescription& format);

}  // namespace orvane::host
