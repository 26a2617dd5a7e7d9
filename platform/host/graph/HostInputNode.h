// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/GraphEngine.h"
#include "platform/host/graph/GraphCore.h"
#include "platform/host/graph/Tap.h"

namespace orvane::host {

/// The input node of an engine, see `platform::InputNode`.
class HostInputNode final : public platform::InputNode {
 public:
  explicit HostInputNode(std::shared_ptr<GraphCore> core);

  platform::StreamFormat inputFormat(std::uint32_t bus) const override;
  void installTap(std::uint32_t bus, std::uint32_t frames, const platform::StreamFormat& format,
                  platform::TapFunction function) override;
  void removeTap(std::uint32_t bus) override;

  bool hasTap() const { return mTap != nullptr; }
  /// Makes the tap deliver what is left of a run. Called after the unit was stopped.
  void finishRun();

 private:
  const std::shared_ptr<GraphCore> mCore;
  std::unique_ptr<Tap> mTap;
  std::atomic<Tap*> mActiveTap = nullptr;  ///< The tap that the device callback uses.
};

}  // namespace orvane::host
