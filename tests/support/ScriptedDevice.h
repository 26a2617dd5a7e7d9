// SPDX-License-Identifier: MIT
#pragma once

#include "platform/backend/Backend.h"
#include "platform/host/Host.h"
#include "platform/host/audio/AlignedSamples.h"
#include "tests/support/Test.h"

namespace orvane::test {

/// An audio device whose callback a test calls slice by slice, with a separate host. The host owns the device; `state`
/// outlives both.
struct ScriptedDevice {
  struct State {
    backend::DeviceFormat format{48000, 1, 1, 256};
    backend::DeviceCallback* callback = nullptr;                ///< Null unless the device runs.
    std::function<std::optional<platform::Failure>()> onStart;  ///< If set, decides whether a start fails.
    std::function<void()> onSides;  ///< If set, is called once, at the next choice of sides.
    std::atomic<int> starts = 0;
    bool inputTaken = false;
    backend::DeviceLatency latency;
    std::vector<float> played;  ///< The first output channel of the last callback.
  };

  class Device final : public backend::AudioDevice {
   public:
    explicit Device(std::shared_ptr<State> state) : mState(std::move(state)) {}
    backend::DeviceFormat format() const override { return mState->format; }
    std::optional<platform::Failure> whyUnavailable() const override { return std::nullopt; }
    backend::DeviceLatency latency() const override { return mState->latency; }
    std::optional<platform::Failure> start(backend::DeviceCallback& callback) override {
      mState->callback = &callback;
      ++mState->starts;
      auto failure = mState->onStart ? mState->onStart() : std::nullopt;
      if (failure) mState->callback = nullptr;
      return failure;
    }
    void stop() override { mState->callback = nullptr; }
    void useSides(bool input, bool) override {
      mState->inputTaken = input;
      if (const auto happens = std::exchange(mState->onSides, nullptr)) happens();
    }
    std::vector<platform::AudioEndpoint> endpoints(platform::AudioSide) const override { return {}; }

   private:
    const std::shared_ptr<State> mState;
  };

  explicit ScriptedDevice(host::HostContext::Pace pace = host::HostContext::Pace::fast)
      : context(std::make_shared<host::HostContext>(pace)),
        services(host::makeHost(context, {"scripted", std::make_unique<Device>(state), nullptr})) {}

  /// Makes every later start of the device fail.
  void loseDevice() const {
    state->onStart = [] { return platform::Failure{platform::status::deviceLost, "gone"}; };
  }

  /// Reports to the host that the device's format has changed. The device makes no callbacks until it is started again.
  void change(const backend::DeviceFormat& format) const {
    backend::DeviceCallback* const callback = std::exchange(state->callback, nullptr);
    state->format = format;
    callback->deviceChanged();
  }

  /// Makes one device callback with `inputs` input channels. Returns the number of frames that the host used; 0 if the
  /// device is not running.
  std::uint32_t slice(std::uint32_t frames, std::uint64_t missing = 0, std::size_t inputs = 1, std::size_t offset = 0) {
    if (state->callback == nullptr) return 0;
    host::AlignedSamples samples(2, 8200);
    const std::vector<const float*> planes(inputs, samples.plane(0) + offset);
    float* const output[] = {samples.plane(1)};
    std::fill_n(output[0], 8200, 99.0F);
    const std::uint32_t taken = state->callback->deviceSlice({{}, missing, frames, planes, output});
    state->played.assign(output[0], output[0] + std::min(frames, 8192U));
    return taken;
  }

  const std::shared_ptr<State> state = std::make_shared<State>();
  const std::shared_ptr<host::HostContext> context;
  platform::Platform services;
};

}  // namespace orvane::test
