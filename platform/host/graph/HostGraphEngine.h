// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/GraphEngine.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/graph/GraphCore.h"
#include "platform/host/graph/HostInputNode.h"
#include "platform/host/graph/HostPlayerNode.h"
#include "platform/host/graph/PlayerList.h"
#include "platform/host/units/HostUnits.h"

namespace orvane::host {

/// The host's graph engine, see `platform::GraphEngine`: an I/O unit whose input handler is the tap, and whose output
/// provider is the mixer. The unit brings sessions, conversion of a changed device's format, and loss of the device.
class HostGraphEngine final : public platform::GraphEngine {
 public:
  HostGraphEngine(const std::shared_ptr<HostContext>& context, const std::shared_ptr<AudioHub>& hub,
                  std::shared_ptr<HostUnits> units);
  ~HostGraphEngine() override;

  std::optional<platform::PlatformError> start() override;
  void stop() override;
  void attach(const std::shared_ptr<platform::GraphNode>& node) override;
  void connect(const std::shared_ptr<platform::GraphNode>& source, const std::shared_ptr<platform::GraphNode>& target,
               const platform::StreamFormat& format) override;
  std::shared_ptr<platform::GraphNode> mainMixerNode() override { return mMixer; }
  std::shared_ptr<platform::InputNode> inputNode() override { return mInput; }
  std::shared_ptr<platform::OutputNode> outputNode() override { return mOutput; }
  std::optional<platform::Failure> failure() const override { return mCore->failures.first(); }
  platform::Subscription onFailure(std::function<void()> notice) override {
    return mCore->failures.onFirst(std::move(notice));
  }

 private:
  const std::shared_ptr<HostUnits> mUnits;
  const std::shared_ptr<GraphCore> mCore;
  const platform::UnitInstance mInstance;
  const std::shared_ptr<platform::GraphNode> mMixer;
  const std::shared_ptr<HostInputNode> mInput;
  const std::shared_ptr<platform::OutputNode> mOutput;
  std::vector<std::shared_ptr<HostPlayerNode>> mAttached;
  PlayerList mConnected;
};

}  // namespace orvane::host
