// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "platform/PacketList.h"

namespace orvane {

/// Returns the text that `OVMIDIBase::hexDumpPacketList` prints. The text is valid until the next call on the same
/// thread. Thread-safe; not real-time safe.
std::string_view hexDump(const platform::PacketList& list, bool includeRealtime);

}  // namespace orvane
