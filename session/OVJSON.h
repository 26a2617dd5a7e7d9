// SPDX-License-Identifier: MIT
#pragma once

#include "platform/ChannelLayout.h"
#include "platform/Export.h"
#include "platform/StreamDescription.h"
#include "platform/Value.h"

// Audio formats as JSON objects, and the printing of any JSON object. All functions keep no state and may be called on
// any thread except the device callback.

namespace orvane {

/// A stream description as a dictionary, as the host's `StreamFormat` understands it.
///
/// Always "sampleRate" (hertz), "channelCount" and "interleaved". Then, for a format that is common to most code,
/// "commonFormat": "Float32", "Float64", "Int16" or "Int32"; for any other "formatID" (the code's four characters),
/// "formatFlags", "bytesPerPacket", "framesPerPacket", "bytesPerFrame" and "bitsPerChannel". Then "channelLayout", as
/// `jsonACL` gives it, where the format carries one.
ORVANE_EXPORT platform::Value jsonASBD(const platform::StreamDescription& description);

/// A channel layout as a dictionary: "tag", "bitmap", "numChannelDescs", and "channelDescs" with a dictionary of the
/// one key "label" for each channel.
ORVANE_EXPORT platform::Value jsonACL(const platform::ChannelLayout& layout);

}  // namespace orvane

/// Writes the object to standard output as the host's JSON writer spells it, indented over several lines when `pretty`
/// and in one line otherwise, then a newline, and flushes. An object that the writer rejects leaves only the newline.
/// Raises "Json is not available on this host".
ORVANE_EXPORT void OVPrintJSON(const orvane::platform::Value& object, bool pretty);
