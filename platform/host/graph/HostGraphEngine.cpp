// SPDX-License-Identifier: MIT
#include "platform/host/graph/HostGraphEngine.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "platform/PlatformException.h"
#include "platform/Status.h"
#include "platform/host/audio/OutputMix.h"

namespace orvane::host {

using platform::GraphNode;
using platform::PlatformException;

namespace {

const GatedCall startCall("GraphEngine::start");

class HostOutputNode final : public platform::OutputNode {
 public:
  explicit HostOutputNode(platform::UnitInstance unit) : mUnit(unit) {}
  platform::UnitInstance unit() const override { return mUnit; }

 private:
  const platform::UnitInstance mUnit;
};

class MixerNode final : public GraphNode {};

/// Adds up the players' output in the unit's buffers. Called on the device callback; real-time safe.
platform::Status mixPlayers(const PlayerList& players, std::uint32_t frames, platform::RenderBufferList& list) {
  std::array<float*, backend::DeviceFormat::maxChannels> planes{};
  const auto buffers = list.buffers();
  for (std::size_t channel = 0; channel < buffers.size(); ++channel)
    planes[channel] = static_cast<float*>(buffers[channel].data);
  OutputMix mix({planes.data(), buffers.size()}, frames);
  players.forEach([&mix](HostPlayerNode& player) { player.render(mix); });
  mix.finish();
  return platform::status::success;
}

}  // namespace

HostGraphEngine::HostGraphEngine(const std::shared_ptr<HostContext>& context, const std::shared_ptr<AudioHub>& hub,
                                 std::shared_ptr<HostUnits> units)
    : mUnits(std::move(units)),
      mCore(std::make_shared<GraphCore>(context, hub)),
      mInstance(mUnits->adopt(mCore->unit)),
      mMixer(std::make_shared<MixerNode>()),
      mInput(std::make_shared<HostInputNode>(mCore)),
      mOutput(std::make_shared<HostOutputNode>(mInstance)) {
  mCore->unit->setOutputProvider(
      [this](platform::RenderActionFlags&, const platform::RenderTimeStamp&, std::uint32_t frames, std::int32_t,
             platform::RenderBufferList& list) { return mixPlayers(mConnected, frames, list); });
}

HostGraphEngine::~HostGraphEngine() {
  // Stops the unit and removes its closures, which use the tap and the players.
  mUnits->dispose(mInstance);
  mInput->removeTap(0);
}

std::optional<platform::PlatformError> HostGraphEngine::start() {
  if (auto error = mCore->context->errorOf(startCall)) return error;
  IoUnit& unit = *mCore->unit;
  // A run that the device has ended is not a running engine.
  if (unit.isRunning() && mCore->context->runEnd.end() == platform::DeviceEnd::none) return std::nullopt;
  // A tap that has failed captures nothing in this run either.
  if (!mInput->hasTap()) mCore->failures.forgetOfTap();
  mCore->failures.forgetOfRun();
  if (unit.isRunning()) stop();
  unit.setInputEnabled(mInput->hasTap());
  unit.setOutputEnabled(!mConnected.empty());
  auto failure = unit.tryInitialize();
  if (!failure) failure = unit.tryStart();
  if (failure) {
    failure->call = startCall.name();
    return mCore->context->refuseWithError(*std::move(failure));
  }
  mConnected.forEach([latency = unit.latency().output](HostPlayerNode& player) { player.setLatency(latency); });
  return std::nullopt;
}

void HostGraphEngine::stop() {
  mCore->unit->stop();
  mInput->finishRun();
}

void HostGraphEngine::attach(const std::shared_ptr<GraphNode>& node) {
  const auto player = std::dynamic_pointer_cast<HostPlayerNode>(node);
  if (!player) throw PlatformException("GraphException", "only player nodes of the same host can be attached");
  if (std::ranges::find(mAttached, player) == mAttached.end()) mAttached.push_back(player);
}

void HostGraphEngine::connect(const std::shared_ptr<GraphNode>& source, const std::shared_ptr<GraphNode>& target,
                              const platform::StreamFormat&) {
  const auto player = std::ranges::find(mAttached, source);
  if (player == mAttached.end() || target != mMixer) {
    throw PlatformException("GraphException", "an attached player node can be connected to the main mixer node only");
  }
  if ((*player)->isConnectedTo(*mCore)) return;
  if ((*player)->isConnected()) {
    throw PlatformException(
        "GraphException", "the player node is connected to another engine; each engine needs player nodes of its own");
  }
  IoUnit& unit = *mCore->unit;
  if (unit.isRunning()) {
    if (auto failure = unit.useOutput(true)) mCore->refuse(*std::move(failure), "GraphEngine::connect");
  }
  (*player)->connect(mCore, unit.clientOutput());
  (*player)->setLatency(unit.latency().output);
  mConnected.add(*player);
}

}  // namespace orvane::host
