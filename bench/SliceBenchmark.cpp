// SPDX-License-Identifier: MIT

// Benchmarks of the hub and a unit in one device callback of 256 frames and two channels, compared with the same work
// without them.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <utility>

#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/units/IoUnit.h"

namespace orvane::host {

namespace {

constexpr std::uint32_t sliceFrames = 256;
constexpr std::uint32_t channelCount = 2;

/// An audio device whose callback is called by the benchmark.
class HandDevice final : public backend::AudioDevice {
 public:
  backend::DeviceFormat format() const override { return {48000, channelCount, channelCount, sliceFrames}; }
  std::optional<platform::Failure> whyUnavailable() const override { return std::nullopt; }
  std::optional<platform::Failure> start(backend::DeviceCallback& callback) override {
    mCallback = &callback;
    return std::nullopt;
  }
  void stop() override { mCallback = nullptr; }
  void useSides(bool, bool) override {}
  std::vector<platform::AudioEndpoint> endpoints(platform::AudioSide) const override { return {}; }

  void slice(const backend::DeviceSlice& slice) { mCallback.load()->deviceSlice(slice); }

 private:
  std::atomic<backend::DeviceCallback*> mCallback = nullptr;
};

class IdleClient final : public HubClient {
  const char* deviceSlice(const HubSlice&, OutputMix&) override { return nullptr; }
  std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat&) override { return std::nullopt; }
};

struct Rig {
  Rig() {
    auto made = std::make_unique<HandDevice>();
    device = made.get();
    hub = std::make_shared<AudioHub>(context, std::move(made));
  }

  void slice() {
    device->slice({{}, 0, sliceFrames, std::as_const(captured).planes(), played.planes()});
    benchmark::ClobberMemory();
  }

  std::shared_ptr<HostContext> context = std::make_shared<HostContext>(HostContext::Pace::fast);
  HandDevice* device = nullptr;
  std::shared_ptr<AudioHub> hub;
  AlignedSamples captured{channelCount, sliceFrames};
  AlignedSamples played{channelCount, sliceFrames};
};

/// Measures the minimum work of a callback without clients that play: fills every output channel with silence.
void plainSilence(benchmark::State& state) {
  Rig rig;
  for ([[maybe_unused]] auto _ : state) {
    for (float* plane : rig.played.planes()) std::fill_n(plane, sliceFrames, 0.0F);
    benchmark::ClobberMemory();
  }
}

void hubAlone(benchmark::State& state) {
  Rig rig;
  IdleClient client;
  rig.hub->add(client);
  for ([[maybe_unused]] auto _ : state) rig.slice();
  rig.hub->remove(client);
}

/// Measures a unit whose input handler renders the captured input.
void unitWithInput(benchmark::State& state) {
  Rig rig;
  IoUnit unit(rig.context, rig.hub);
  struct List {
    platform::RenderBufferList header{channelCount};
    platform::RenderBuffer entries[channelCount] = {};
  } list;
  unit.setInputEnabled(true);
  unit.setInputHandler(
      [&](platform::RenderActionFlags&, const platform::RenderTimeStamp&, std::uint32_t frames, std::int32_t bus) {
        for (platform::RenderBuffer& entry : list.entries) entry = {1, frames * 4, nullptr};
        benchmark::DoNotOptimize(unit.render(frames, bus, list.header));
      });
  unit.initialize();
  unit.start();
  for ([[maybe_unused]] auto _ : state) rig.slice();
}

/// Measures the baseline: copies each channel of a client's output to the device's memory, which is the minimum work of
/// a callback if one client plays.
void plainCopy(benchmark::State& state) {
  Rig rig;
  for ([[maybe_unused]] auto _ : state) {
    for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
      std::copy_n(rig.captured.plane(channel), sliceFrames, rig.played.plane(channel));
    }
    benchmark::ClobberMemory();
  }
}

void unitWithOutput(benchmark::State& state) {
  Rig rig;
  IoUnit unit(rig.context, rig.hub);
  unit.setOutputProvider([](platform::RenderActionFlags&, const platform::RenderTimeStamp&, std::uint32_t, std::int32_t,
                            platform::RenderBufferList&) { return platform::status::success; });
  unit.initialize();
  unit.start();
  for ([[maybe_unused]] auto _ : state) rig.slice();
}

BENCHMARK(plainSilence)->Name("slice-in/plain");
BENCHMARK(hubAlone)->Name("slice-in/hub");
BENCHMARK(unitWithInput)->Name("slice-in/hub-and-unit");
BENCHMARK(plainCopy)->Name("slice-out/plain");
BENCHMARK(unitWithOutput)->Name("slice-out/hub-and-unit");

}  // namespace

}  // namespace orvane::host
