// SPDX-License-Identifier: MIT
#include "platform/host/convert/PacketCodec.h"

#include <string>

#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/host/convert/FlacCodec.h"
#include "platform/host/convert/OpusCodec.h"

namespace orvane::host {

namespace {

platform::Failure unknown(const platform::StreamDescription& format) {
  std::string code;
  for (const int shift : {24, 16, 8, 0}) code += static_cast<char>(format.formatID >> shift);
  return {platform::status::unsupportedFormat,
          "'" + code + "' is not a format that queues convert; they take 'lpcm', 'flac' and 'opus'"};
}

}  // namespace

Result<std::unique_ptr<PacketDecoder>> makeDecoder(const platform::StreamDescription& format) {
  if (format.formatID == platform::flacFormatID) return makeFlacDecoder(format);
  if (format.formatID == platform::opusFormatID) return makeOpusDecoder(format);
  return unknown(format);
}

Result<std::unique_ptr<PacketEncoder>> makeEncoder(const platform::StreamDescription& format) {
  if (format.formatID == platform::flacFormatID) return makeFlacEncoder(format);
  if (format.formatID == platform::opusFormatID) return makeOpusEncoder(format);
  return unknown(format);
}

}  // namespace orvane::host
