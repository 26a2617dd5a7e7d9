// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "platform/FormatInfoService.h"
#include "platform/Status.h"
#include "platform/host/HostContext.h"

namespace orvane::host {

/// The host's implementation of `platform::FormatInfoService`.
class HostFormatInfo final : public platform::FormatInfoService {
 public:
  explicit HostFormatInfo(std::shared_ptr<HostContext> context) : mContext(std::move(context)) {}

  platform::Status infoSize(platform::FormatInfo info, std::uint32_t& byteSize) override;
  platform::Status info(platform::FormatInfo info, std::uint32_t& byteSize, void* data) override;

 private:
  const std::shared_ptr<HostContext> mContext;
};

}  // namespace orvane::host
