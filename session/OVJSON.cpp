// SPDX-License-Identifier: MIT
#include "session/OVJSON.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "Pexutil/Source/Utility/PXX4CCString.h"
#include "platform/Json.h"
#include "platform/Platform.h"
#include "platform/StreamFormat.h"
#include "session/RequiredRole.h"

namespace orvane {

namespace {

/// Returns the name of a common format, or null for `none`.
const char* commonFormatName(platform::StreamFormat::Common common) {
  using Common = platform::StreamFormat::Common;
  switch (common) {
    case Common::float32:
      return "Float32";
    case Common::float64:
      return "Float64";
    case Common::int16:
      return "Int16";
    case Common::int32:
      return "Int32";
    case Common::none:
      break;
  }
  return nullptr;
}

}  // namespace

platform::Value jsonASBD(const platform::StreamDescription& description) {
  const platform::StreamFormat format(description);
  platform::Value object = platform::Value::dictionary({{"sampleRate", format.sampleRate()},
                                                        {"channelCount", format.channelCount()},
                                                        {"interleaved", format.isInterleaved()}});
  if (const char* name = commonFormatName(format.common())) {
    object.set("commonFormat", name);
  } else {
    const platform::StreamDescription& details = format.description();
    object.set("formatID", PXX4CCStringNoQuote(static_cast<std::int32_t>(details.formatID)).c_str());
    object.set("formatFlags", details.formatFlags);
    object.set("bytesPerPacket", details.bytesPerPacket);
    object.set("framesPerPacket", details.framesPerPacket);
    object.set("bytesPerFrame", details.bytesPerFrame);
    object.set("bitsPerChannel", details.bitsPerChannel);
  }
  if (format.layout()) object.set("channelLayout", jsonACL(*format.layout()));
  return object;
}

platform::Value jsonACL(const platform::ChannelLayout& layout) {
  platform::Value::Array descriptions;
  descriptions.reserve(layout.descriptions.size());
  for (const platform::ChannelDescription& description : layout.descriptions)
    descriptions.push_back(platform::Value::dictionary({{"label", description.label}}));
  return platform::Value::dictionary({{"tag", layout.tag},
                                      {"bitmap", layout.bitmap},
                                      {"numChannelDescs", layout.descriptions.size()},
                                      {"channelDescs", std::move(descriptions)}});
}

}  // namespace orvane

void OVPrintJSON(const orvane::platform::Value& object, bool pretty) {
  const orvane::platform::Platform services = orvane::platform::current();
  const auto& json = orvane::requiredRole(services, services.json, "Json");
  // The text is written by one call, so that lines printed by several threads are not mixed.
  const std::string text = json.write(object, pretty).value_or("") + "\n";
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}
