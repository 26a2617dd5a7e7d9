// SPDX-License-Identifier: MIT
#pragma once

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/DeviceReport.h"
#include "platform/FileReport.h"
#include "platform/Hosts.h"
#include "platform/Log.h"
#include "platform/RunControl.h"
#include "platform/Scheduler.h"
#include "platform/UnitService.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

namespace orvane::test {

/// A unit on a separate host, set up as a tool sets up its unit, with the results of its runs. The host is simulated
/// unless the test provides one.
class UnitRig {
 public:
  explicit UnitRig(const std::string& options) : UnitRig(platform::makeSimulatedHost(options)) {}
  explicit UnitRig(platform::Platform services) : host(std::move(services)) {
    host.log->setSink([this](platform::LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
    wrapper = host.units->wrap(unit = makeUnit());
  }
  ~UnitRig() { host.units->dispose(unit); }

  platform::UnitInstance makeUnit() const {
    platform::UnitInstance made{};
    EXPECT_EQ(host.units->createInstance(host.units->findComponent({}), made), 0);
    EXPECT_EQ(host.units->initialize(made), 0);
    return made;
  }

  /// Makes the unit collect its input as interleaved samples, and the time stamp of each slice.
  void takeInput() {
    mList.emplace(wrapper->outputBus(1).format().channelCount());
    captured.reserve(1 << 21);
    times.reserve(1 << 16);
    wrapper->setInputEnabled(true);
    wrapper->setInputHandler(
        [this, render = wrapper->renderOperation()](auto& flags, auto& time, auto frames, int bus) {
          auto& list = mList->GetAudioBufferList();
          for (auto& entry : list.buffers()) entry = {1, frames * 4, nullptr};
          ASSERT_EQ(render(flags, time, frames, bus, list, nullptr), 0);
          const std::size_t before = captured.size() / list.bufferCount;
          ASSERT_TRUE(missesFrames || time.sampleTime == static_cast<double>(before));
          times.push_back(time);
          for (std::uint32_t frame = 0; frame < frames; ++frame)
            for (auto& entry : list.buffers()) captured.push_back(static_cast<const float*>(entry.data)[frame]);
        });
  }

  /// Makes the unit play the samples that `sampleAt(frame, channel)` returns.
  template <typename SampleAt>
  void play(SampleAt sampleAt) {
    wrapper->setOutputProvider([sampleAt](auto&, const auto& time, std::uint32_t frames, int, auto& list) {
      for (std::uint32_t channel = 0; channel < list.bufferCount; ++channel) {
        auto* const samples = static_cast<float*>(list.buffers()[channel].data);
        for (std::uint32_t frame = 0; frame < frames; ++frame)
          samples[frame] = sampleAt(time.sampleTime + frame, channel);
      }
      return platform::status::success;
    });
  }

  void playSilence() {
    play([](double, std::uint32_t) { return 0.0F; });
  }

  /// Starts the unit and waits until the device ends the run, for at most `limit`. Stops the unit if the device ended.
  /// Returns the status of the start.
  platform::Status run(platform::HostTime limit = platform::Waiter::forever) {
    const auto ended = std::shared_ptr(host.scheduler->makeWaiter());
    const platform::Status started = host.units->start(unit);
    const auto end = control.onDeviceEnd([ended] { ended->signal(); });
    if (started == platform::status::success && ended->wait(limit)) host.units->stop(unit);
    return started;
  }

  /// Returns the status of the device's failure, or success if it has not failed.
  platform::Status failure() const { return report.deviceFailure().value_or(platform::Failure{}).status; }

  platform::Platform host;
  platform::DeviceReport& report = *host.deviceReport;
  platform::RunControl& control = *host.runControl;
  const std::unique_ptr<platform::Waiter> waiter = host.scheduler->makeWaiter();  ///< A waiter for use in tests.
  platform::UnitInstance unit{};
  std::shared_ptr<platform::UnitWrapper> wrapper;
  bool missesFrames = false;  ///< If false, time stamps must equal the number of frames received so far.
  std::vector<float> captured;
  std::vector<platform::RenderTimeStamp> times;
  std::string log;

 private:
  std::optional<PX::BufferList> mList;
};

}  // namespace orvane::test
