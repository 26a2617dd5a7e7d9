// SPDX-License-Identifier: MIT
#pragma once

#include "platform/ChannelLayout.h"
#include "platform/Export.h"
#include "platform/StreamDescription.h"
#include "platform/Value.h"

// Audio formats as JSON objects, and a function that prints JSON objects. The functions keep no state. Thread-safe; not
// real-time safe.

namespace orvane {

/// Describes a stream description as a dictionary, by way of `platform::StreamFormat`. Members, in this order:
///
/// - "sampleRate" (float, hertz), "channelCount" (integer), "interleaved" (boolean);
/// - "commonFormat" for a common format (`StreamFormat::common`): "Float32", "Float64", "Int16" or "Int32"; for any
///   other format "formatID" (text, as `PXX4CCStringNoQuote` renders it) and the integers "formatFlags",
///   "bytesPerPacket", "framesPerPacket", "bytesPerFrame" and "bitsPerChannel";
/// - "channelLayout", a dictionary as `jsonACL` returns it, for formats of 3 to 1024 channels.
///
/// Accepts any description, also an invalid one.
ORVANE_EXPORT platform::Value jsonASBD(const platform::StreamDescription& description);

/// Describes a channel layout as a dictionary of the integers "tag", "bitmap" and "numChannelDescs", and the array
/// "channelDescs" with one dictionary {"label": integer} for each channel description.
ORVANE_EXPORT platform::Value jsonACL(const platform::ChannelLayout& layout);

}  // namespace orvane

/// Writes the object and a newline to standard output, and flushes. The text is that of `platform::Json::write`:
/// indented over several lines if `pretty`, else on one line. If the writer rejects the object, only the newline is
/// written. Output errors are ignored. Raises "Json is not available on this host".
ORVANE_EXPORT void OVPrintJSON(const orvane::platform::Value& object, bool pretty);
