// SPDX-License-Identifier: MIT
#include "platform/host/files/SoundFileTypes.h"

#include <algorithm>
#include <utility>

#include "platform/SoundFileService.h"
#include "platform/StreamFormat.h"
#include "platform/host/files/PcmHeader.h"

namespace orvane::host {

using platform::StreamDescription;
namespace flag = platform::format_flag;
namespace type = platform::sound_file_type;

namespace {

SoundFileType makeType(std::uint32_t code, std::string name, std::vector<std::string> extensions,
                       std::uint32_t formatID) {
  return {code,
          std::make_shared<const std::string>(std::move(name)),
          std::make_shared<const std::vector<std::string>>(std::move(extensions)),
          {formatID}};
}

/// Returns every linear PCM format that files of this type can hold, for any rate and channel count.
std::vector<StreamDescription> pcmVariants(std::uint32_t fileType) {
  constexpr std::uint32_t kinds[] = {0, flag::signedInteger, flag::isFloat};
  constexpr std::uint32_t widths[] = {8, 16, 24, 32, 64};
  std::vector<StreamDescription> variants;
  for (const std::uint32_t kind : kinds) {
    for (const std::uint32_t width : widths) {
      for (const std::uint32_t order : {0U, flag::bigEndian}) {
        StreamDescription format = platform::StreamFormat::linearPcm(1, 1, width, kind, true).description();
        format.formatFlags = (format.formatFlags & ~flag::bigEndian) | order;
        // A single byte has no order.
        if ((width == 8 && order != 0) || whyNotPcm(fileType, format)) continue;
        format.sampleRate = 0;
        format.channelsPerFrame = format.bytesPerFrame = format.bytesPerPacket = 0;
        variants.push_back(format);
      }
    }
  }
  return variants;
}

}  // namespace

std::vector<StreamDescription> SoundFileType::variants(std::uint32_t formatID) const {
  if (std::ranges::find(formatIDs, formatID) == formatIDs.end()) return {};
  if (formatID == platform::linearPcmFormatID) return pcmVariants(code);
  if (formatID == platform::opusFormatID) return {{.formatID = formatID, .framesPerPacket = 960}};
  std::vector<StreamDescription> variants;
  for (const std::uint32_t width : {8U, 16U, 20U, 24U})
    variants.push_back({.formatID = formatID, .bitsPerChannel = width});
  return variants;
}

std::span<const SoundFileType> soundFileTypes() {
  constexpr std::uint32_t lpcm = platform::linearPcmFormatID;
  static const auto& types = *new std::vector<SoundFileType>{
      makeType(type::aifc, "AIFC", {"aifc"}, lpcm),
      makeType(type::aiff, "AIFF", {"aif", "aiff"}, lpcm),
      makeType(type::au, "AU (Sun, NeXT)", {"au", "snd"}, lpcm),
      makeType(type::opus, "Opus (Ogg)", {"opus"}, platform::opusFormatID),
      makeType(type::nativeContainer, "RF64 (WAVE beyond 4 GiB)", {"rf64"}, lpcm),
      makeType(type::wave, "WAVE", {"wav", "wave"}, lpcm),
      makeType(type::flac, "FLAC", {"flac"}, platform::flacFormatID),
  };
  return types;
}

}  // namespace orvane::host
