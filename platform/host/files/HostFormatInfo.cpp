// SPDX-License-Identifier: MIT
#include "platform/host/files/HostFormatInfo.h"

#include <algorithm>
#include <cstring>

#include "platform/SoundFileService.h"
#include "platform/host/CallGate.h"

namespace orvane::host {

namespace status = platform::status;

namespace {

const GatedCall infoSizeCall("FormatInfoService::infoSize");
const GatedCall infoCall("FormatInfoService::info");

/// The formats that queues decode; they encode the same.
constexpr std::uint32_t formats[] = {platform::linearPcmFormatID, platform::flacFormatID, platform::opusFormatID};

bool isKnown(platform::FormatInfo info) {
  return info == platform::FormatInfo::decodableIDs || info == platform::FormatInfo::encodableIDs;
}

}  // namespace

platform::Status HostFormatInfo::infoSize(platform::FormatInfo info, std::uint32_t& byteSize) {
  if (const auto refusal = mContext->refusalOf(infoSizeCall)) return *refusal;
  if (!isKnown(info)) return status::badParameter;
  byteSize = sizeof formats;
  return status::success;
}

platform::Status HostFormatInfo::info(platform::FormatInfo info, std::uint32_t& byteSize, void* data) {
  if (const auto refusal = mContext->refusalOf(infoCall)) return *refusal;
  if (!isKnown(info) || data == nullptr) return status::badParameter;
  byteSize = std::min<std::uint32_t>(byteSize, sizeof formats);
  std::memcpy(data, formats, byteSize);
  return status::success;
}

}  // namespace orvane::host
