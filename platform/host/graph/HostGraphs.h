// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "platform/GraphEngine.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/units/HostUnits.h"

namespace orvane::host {

/// The host's implementation of `platform::GraphService`.
class HostGraphs final : public platform::GraphService {
 public:
  HostGraphs(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub, std::shared_ptr<HostUnits> units)
      : mContext(std::move(context)), mHub(std::move(hub)), mUnits(std::move(units)) {}

  std::shared_ptr<platform::GraphEngine> makeEngine() override;
  std::shared_ptr<platform::PlayerNode> makePlayerNode() override;
  std::shared_ptr<platform::PcmFile> openFile(const platform::Url& url,
                                              std::optional<platform::PlatformError>& error) override;
  std::shared_ptr<platform::PcmFile> createFile(const platform::Url& url, const platform::FormatSettings& settings,
                                                std::optional<platform::PlatformError>& error) override;

 private:
  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;
  const std::shared_ptr<HostUnits> mUnits;
};

}  // namespace orvane::host
