// SPDX-License-Identifier: MIT
#pragma once

#include "platform/ChannelLayout.h"
#include "platform/Export.h"
#include "platform/StreamDescription.h"
#include "platform/Value.h"

// Functions that describe audio formats as JSON objects, and a function that prints a JSON object. They keep no state.
// Thread-safe; not real-time safe.

namespace orvane {

/// Returns a dictionary that describes the format of a stream, for use as a JSON object. Its members, in this order:
///
/// - "sampleRate" (float, hertz), "channelCount" (integer), "interleaved" (boolean);
/// - for a common format (see `StreamFormat::common`): "commonFormat", which is "Float32", "Float64", "Int16" or
///   "Int32";
/// - for any other format: "formatID" (text, as `PXX4CCStringNoQuote` renders it) and the integers "formatFlags",
///   "bytesPerPacket", "framesPerPacket", "bytesPerFrame" and "bitsPerChannel";
/// - for formats of 3 to 1024 channels: "channelLayout", a dictionary as returned by `jsonACL`.
///
/// Accepts any description, even an invalid one.
ORVANE_EXPORT platform::Value jsonASBD(const platform::StreamDescription& description);

/// Returns a dictionary that describes a channel layout, for use as a JSON object. Its members are the integers "tag",
/// "bitmap" and "numChannelDescs", and the array "channelDescs" with one dictionary {"label": integer} for each channel
/// description.
ORVANE_EXPORT platform::Value jsonACL(const platform::ChannelLayout& layout);

}  // namespace orvane

/// Prints the object as JSON text, followed by a newline, on standard output and flushes it. The text is indented over
/// several lines if `pretty` is true, otherwise on one line. If `object` cannot be written as JSON (see
/// `platform::Json::write`), prints only the newline. Ignores output errors. Raises "Json is not available on this
/// host" if the host has no JSON service.
ORVANE_EXPORT void OVPrintJSON(const orvane::platform::Value& object, bool pretty);
