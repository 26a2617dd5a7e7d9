// What the hub and a unit cost for a slice of 256 frames and two channels, beside the same work without them.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

#include "platform/host/HostLog.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/time/FastPace.h"
#include "platform/host/units/IoUnit.h"

namespace orvane::host {
namespace {

constexpr std::uint32_t kFrames = 256;
constexpr std::uint32_t kChannels = 2;

/// A device whose slices the benchmark hands out.
class HandDevice final : public AudioDevice {
 public:
  std::string hostName() const override { return "hand"; }
  DeviceFormat format() const override { return {48000, kChannels, kChannels, kFrames}; }
  platform::Status start(DeviceCallback& callback) override {
    mCallback = &callback;
    return platform::status::success;
  }
  void stop() override { mCallback = nullptr; }
  bool isRunning() const override { return mCallback != nullptr; }
  void useInput(bool) override {}
  platform::RunCount runCount() const override { return {}; }
  void endAfterFrames(std::uint64_t) override {}

  void slice(const DeviceSlice& slice) { mCallback.load()->deviceSlice(slice); }

 private:
  std::atomic<DeviceCallback*> mCallback = nullptr;
};

class IdleClient final : public HubClient {
  void deviceSlice(const DeviceSlice&, OutputMix&) override {}
};

struct Rig {
  Rig() : hub(std::make_shared<AudioHub>(std::make_unique<HandDevice>(), std::make_shared<FastPace>())) {}

  void slice() {
    auto& device = static_cast<HandDevice&>(hub->device());
    device.slice({{}, 0, kFrames, std::as_const(captured).planes(), played.planes()});
    benchmark::ClobberMemory();
  }

  std::shared_ptr<AudioHub> hub;
  std::shared_ptr<HostLog> log = std::make_shared<HostLog>();
  AlignedSamples captured{kChannels, kFrames};
  AlignedSamples played{kChannels, kFrames};
};

/// What a slice needs to which nobody adds output: silence in every channel.
void plainSilence(benchmark::State& state) {
  Rig rig;
  for ([[maybe_unused]] auto _ : state) {
    for (float* plane : rig.played.planes()) std::fill_n(plane, kFrames, 0.0F);
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

/// An input handler that fetches what was captured.
void unitWithInput(benchmark::State& state) {
  Rig rig;
  IoUnit unit(rig.hub, rig.log);
  struct List {
    platform::RenderBufferList header{kChannels};
    platform::RenderBuffer entries[kChannels] = {};
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

/// What a slice needs with the output of one client: each channel's samples in the device's memory.
void plainCopy(benchmark::State& state) {
  Rig rig;
  for ([[maybe_unused]] auto _ : state) {
    for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
      std::copy_n(rig.captured.plane(channel), kFrames, rig.played.plane(channel));
    }
    benchmark::ClobberMemory();
  }
}

void unitWithOutput(benchmark::State& state) {
  Rig rig;
  IoUnit unit(rig.hub, rig.log);
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
