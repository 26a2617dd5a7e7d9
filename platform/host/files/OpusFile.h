// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/StreamDescription.h"
#include "platform/host/Result.h"
#include "platform/host/files/PacketFile.h"

// Ogg Opus files (RFC 7845) with one stream. The cookie is the identification header.

namespace orvane::host {

Result<std::unique_ptr<PacketReader>> openOpusFile(FileDescriptor file, const std::string& path);
Result<std::unique_ptr<PacketWriter>> makeOpusWriter(const std::string& path,
                                                     const platform::StreamDescription& format);

}  // namespace orvane::host
