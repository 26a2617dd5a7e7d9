// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "platform/host/audio/AudioHub.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/UnitRig.h"

namespace orvane::test {
namespace {

using namespace std::chrono_literals;

using platform::DeviceEnd;
namespace status = platform::status;

/// A unit that plays one constant, and must not be called before a start or after a stop.
struct Player {
  Player(UnitRig& rig, float value) : units(*rig.host.units), unit(rig.makeUnit()) {
    units.wrap(unit)->setOutputProvider([this, value](auto&, auto&, std::uint32_t frames, int, auto& list) {
      EXPECT_TRUE(runs);
      std::fill_n(static_cast<float*>(list.buffers()[0].data), frames, value);
      ++slices;
      return platform::status::success;
    });
  }
  ~Player() {
    stop();
    units.dispose(unit);
  }
  platform::Status start() {
    runs = true;
    return units.start(unit);
  }
  void stop() {
    units.stop(unit);
    runs = false;
  }

  platform::UnitService& units;
  const platform::UnitInstance unit;
  std::atomic<bool> runs = false;
  std::atomic<int> slices = 0;
};

TEST(AudioHub, MixesInOrderOfStartingAndIsSilentWhereNobodyPlays) {
  const TemporaryFolder folder;
  UnitRig rig("pace=fast,rate=1000,outputs=1,slice=1,speaker=" + folder.file("heard.wav"));
  // Not associative in single precision: five is what it is only where the others have cancelled out before.
  Player large(rig, 1e8F);
  Player opposite(rig, -1e8F);
  Player small(rig, 5);
  for (Player* player : {&large, &opposite, &small}) ASSERT_EQ(player->start(), 0);
  rig.waiter->wait(1ms);
  opposite.stop();
  EXPECT_EQ(opposite.start(), 0);
  rig.waiter->wait(1ms);
  EXPECT_EQ(rig.host.units->start(rig.unit), 0);
  for (Player* player : {&large, &opposite, &small}) player->stop();
  rig.waiter->wait(1ms);
  EXPECT_EQ(rig.host.units->stop(rig.unit), 0);
  EXPECT_EQ(readSound(folder.file("heard.wav")).samples, (std::vector<float>{5, 8, 0}));
}

TEST(AudioHub, AFailedStartRegistersNobody) {
  const TemporaryFolder folder;
  const std::string missing = folder.file("missing");
  std::filesystem::create_directory(missing);
  UnitRig rig("pace=fast,rate=1000,outputs=1,slice=1,speaker=" + missing + "/heard.wav");
  Player failed(rig, 1);
  Player other(rig, 2);
  std::filesystem::remove(missing);
  EXPECT_EQ(failed.start(), platform::status::notFound);
  std::filesystem::create_directory(missing);
  EXPECT_EQ(other.start(), 0);
  rig.waiter->wait(1ms);
  EXPECT_EQ(failed.slices, 0);
  EXPECT_EQ(other.slices, 1);
}

TEST(AudioHub, NoUnitIsCalledOnceItHasStopped) {
  // The device is always behind with slices so short, so it calls back all the time.
  UnitRig rig("rate=768000,slice=1");
  Player anchor(rig, 1);
  ASSERT_EQ(anchor.start(), 0);
  for (int round = 0; round < 2000; ++round) {
    Player player(rig, 1);
    ASSERT_EQ(player.start(), 0);
    while (round % 16 == 0 && player.slices == 0) std::this_thread::yield();
  }
}

/// A rig on a device that the test drives.
struct ScriptedRig : ScriptedDevice, UnitRig {
  explicit ScriptedRig(host::HostContext::Pace pace = host::HostContext::Pace::fast)
      : ScriptedDevice(pace), UnitRig(services) {
    services = {};
  }
};

TEST(AudioHub, EndsTheRunAtTheExactFrameAndCountsWhatItHandedOut) {
  ScriptedRig rig;
  Player player(rig, 1);
  rig.control.endAfterFrames(1000);
  int ends = 0;
  const auto end = rig.control.onDeviceEnd([&] { ++ends; });
  ASSERT_EQ(player.start(), 0);
  EXPECT_EQ(rig.slice(512), 512U);
  EXPECT_EQ(rig.slice(300, 44), 300U);
  EXPECT_EQ(rig.slice(256), 188U);
  EXPECT_EQ(std::count(rig.state->played.begin(), rig.state->played.end(), 1.0F), 188);
  EXPECT_EQ(rig.slice(256), 0U);
  EXPECT_EQ(std::count(rig.state->played.begin(), rig.state->played.end(), 0.0F), 256);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none) << "known when the hub's worker has stopped the device";
  rig.waiter->wait(1ms);
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::frameLimit);
  EXPECT_EQ(rig.state->callback, nullptr);
  const platform::RunCount count = rig.report.runCount();
  EXPECT_EQ(count.frames, 1000U);
  EXPECT_EQ(count.discontinuities, 1U);
  EXPECT_EQ(count.maxSliceFrames, 512U);
}

TEST(AudioHub, ADeviceThatBreaksItsContractEndsTheRunWithAFailure) {
  const std::array<std::uint32_t, 3> slices[] = {{0, 1, 0}, {8193, 1, 0}, {256, 2, 0}, {256, 0, 0}, {256, 1, 1}};
  for (const auto& [frames, inputs, offset] : slices) {
    ScriptedRig rig;
    Player player(rig, 1);
    ASSERT_EQ(player.start(), 0);
    EXPECT_EQ(rig.slice(frames, 0, inputs, offset), 0U);
    rig.waiter->wait(1ms);
    EXPECT_EQ(rig.report.deviceFailure().value_or(platform::Failure{}).status, status::badSlice);
    EXPECT_EQ(player.slices, 0);
  }
}

TEST(AudioHub, RebuildsItsClientsWhenTheDeviceChangesAndGoesOn) {
  ScriptedRig rig;
  rig.missesFrames = true;
  rig.wrapper->outputBus(1).setFormat(platform::StreamFormat::standard(48000, 2));
  rig.takeInput();
  ASSERT_EQ(rig.host.units->start(rig.unit), 0);
  rig.slice(480);
  const auto change = [&](backend::DeviceFormat format) {
    backend::DeviceCallback* const callback = std::exchange(rig.state->callback, nullptr);
    rig.state->format = format;
    callback->deviceChanged();
    EXPECT_EQ(rig.slice(480), 0U);
    rig.waiter->wait(1ms);
  };
  change({24000, 2, 1, 128});
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none);
  EXPECT_EQ(rig.report.hardwareInput(), platform::StreamFormat::standard(24000, 2));
  for (int slice = 0; slice < 10; ++slice) EXPECT_EQ(rig.slice(480, 0, 2), 480U);
  EXPECT_EQ(rig.report.runCount().discontinuities, 1U);
  EXPECT_GT(rig.host.units->latency(rig.unit).input, 0U) << "the rate is converted now";
  ASSERT_GT(rig.times.size(), 2U);
  EXPECT_EQ(rig.times[1].sampleTime, 480) << "time stamps go on";
  // Where a client cannot go on, the run ends and says why.
  change({24000, 0, 1, 128});
  EXPECT_EQ(rig.report.deviceFailure().value_or(platform::Failure{}).status, status::noDevice);
  EXPECT_EQ(rig.state->callback, nullptr);
}

TEST(AudioHub, AnInterruptionReportedAtTheStartIsNoStall) {
  ScriptedRig rig;
  rig.playSilence();
  rig.state->onStart = [&] {
    rig.state->callback->deviceInterrupted(rig.host.scheduler->clock().now() + 5s);
    return std::nullopt;
  };
  ASSERT_EQ(rig.host.units->start(rig.unit), 0);
  rig.waiter->wait(5s);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none);
  rig.waiter->wait(1s);
  EXPECT_EQ(rig.report.deviceFailure().value_or(platform::Failure{}).status, status::stalled);
}

TEST(AudioHub, ADeviceThatTakesLongToStartHasNotStalled) {
  ScriptedRig rig(host::HostContext::Pace::real);
  Player player(rig, 1);
  rig.state->onStart = [] {
    std::this_thread::sleep_for(700ms);
    return std::nullopt;
  };
  ASSERT_EQ(player.start(), 0);
  rig.waiter->wait(100ms);
  EXPECT_EQ(rig.slice(256), 256U);
  EXPECT_EQ(player.slices, 1);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none);
  const auto stall = rig.control.onDeviceEnd([&] { rig.waiter->signal(); });
  EXPECT_TRUE(rig.waiter->wait(10s));
  EXPECT_EQ(rig.report.deviceFailure().value_or(platform::Failure{}).status, status::stalled) << "it is watched since";
}

TEST(AudioHub, AClientThatComesAtTheEndOfARunBeginsAnotherOrLearnsWhy) {
  for (const bool fails : {false, true}) {
    ScriptedRig rig;
    Player first(rig, 1);
    Player second(rig, 1);
    ASSERT_EQ(first.start(), 0);
    // The device ends, and has not been stopped yet.
    const platform::Failure lost{status::deviceLost, "gone"};
    rig.state->callback->deviceEnded(fails ? DeviceEnd::failed : DeviceEnd::inputEnded,
                                     fails ? std::optional(lost) : std::nullopt);
    EXPECT_EQ(second.start(), fails ? status::deviceLost : status::success);
    EXPECT_EQ(rig.state->starts, fails ? 1 : 2);
    rig.slice(256);
    EXPECT_EQ(second.slices, fails ? 0 : 1);
  }
}

/// A client of the hub that is none of the host's own.
struct CountingClient final : host::HubClient {
  const char* deviceSlice(const host::HubSlice& slice, host::OutputMix&) override {
    EXPECT_EQ(slice.inputs.size(), format.inputs);
    return ++slices, nullptr;
  }
  bool takesInput() const override { return false; }
  std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& changed) override {
    format = changed;
    return std::nullopt;
  }
  backend::DeviceFormat format;
  std::atomic<int> slices = 0;
};

/// A hub alone, on a device that the test drives.
struct HubRig : ScriptedDevice {
  explicit HubRig(host::HostContext::Pace pace = host::HostContext::Pace::fast) : ScriptedDevice(pace) {}

  host::AudioHub hub{context, std::make_unique<Device>(state)};
  const std::unique_ptr<platform::Waiter> waiter = context->scheduler->makeWaiter();
};

TEST(AudioHub, AClientLeavesFromATaskWithoutWaiting) {
  for (const auto pace : {host::HostContext::Pace::fast, host::HostContext::Pace::real}) {
    HubRig rig(pace);
    const auto worker = rig.context->scheduler->makeWorker("client");
    CountingClient stays;
    CountingClient leaves;
    ASSERT_FALSE(rig.hub.add(stays) || rig.hub.add(leaves));
    EXPECT_FALSE(rig.state->inputTaken);
    for (CountingClient* client : {&leaves, &leaves, &stays}) {
      worker->post([&, client] { rig.hub.removeSoon(*client, [&] { rig.waiter->signal(); }); });
      ASSERT_TRUE(rig.waiter->wait(10s)) << "also for one that has left already";
      EXPECT_EQ(rig.state->callback == nullptr, client == &stays) << "the last one stops the device";
    }
    host::AudioHub without(rig.context, nullptr);
    without.removeSoon(stays, [&] { rig.waiter->signal(); });
    EXPECT_TRUE(rig.waiter->wait(10s));
  }
}

TEST(AudioHub, AClientThatJoinsIsToldTheFormatOfNow) {
  HubRig rig;
  CountingClient first;
  CountingClient second;
  ASSERT_FALSE(rig.hub.add(first));
  second.format = rig.hub.format();
  backend::DeviceCallback* const callback = std::exchange(rig.state->callback, nullptr);
  rig.state->format.inputs = 2;
  callback->deviceChanged();
  rig.waiter->wait(1ms);
  ASSERT_FALSE(rig.hub.add(second));
  EXPECT_EQ(rig.slice(256, 0, 2), 256U);
  EXPECT_EQ(second.slices, 1);
  for (CountingClient* client : {&first, &second}) rig.hub.remove(*client);
}

TEST(AudioHub, AFailureIsNotForgottenForAnotherClient) {
  for (const bool breaksContract : {true, false}) {
    HubRig rig;
    int told = 0;
    const auto end = rig.context->runEnd.onEnd([&] { ++told; });
    CountingClient first;
    CountingClient second;
    ASSERT_FALSE(rig.hub.add(first));
    if (breaksContract) {
      rig.slice(0);
    } else {
      rig.state->callback->deviceEnded(DeviceEnd::inputEnded, {});
      rig.state->onStart = [] { return platform::Failure{status::deviceLost, "gone"}; };
    }
    EXPECT_EQ(rig.hub.add(second).value_or(platform::Failure{}).status,
              breaksContract ? status::badSlice : status::deviceLost);
    rig.waiter->wait(1ms);
    EXPECT_EQ(told, 1);
    EXPECT_EQ(rig.context->runEnd.end(), breaksContract ? DeviceEnd::failed : DeviceEnd::inputEnded);
    rig.hub.remove(first);
  }
}

TEST(AudioHub, AUnitThatCannotStartAgainAfterItsClosureWasReplacedSaysSo) {
  ScriptedRig rig;
  rig.playSilence();
  ASSERT_EQ(rig.host.units->start(rig.unit), 0);
  rig.state->onStart = [] { return platform::Failure{status::deviceLost, "gone"}; };
  rig.playSilence();
  EXPECT_FALSE(rig.host.units->isRunning(rig.unit));
  EXPECT_THAT(rig.log, testing::HasSubstr("UnitService::start failed: gone\n"
                                          "an I/O unit whose closure was replaced could not start again\n"));
}

TEST(AudioHub, LatencyMayBeAskedForWhileAUnitStarts) {
  UnitRig rig("pace=fast");
  rig.wrapper->outputBus(1).setFormat(platform::StreamFormat::standard(44100, 1));
  rig.wrapper->setInputEnabled(true);
  std::atomic<bool> done = false;
  std::thread asking([&] {
    while (!done) EXPECT_LT(rig.host.units->latency(rig.unit).input, 1000U);
  });
  for (int round = 0; round < 50; ++round) ASSERT_EQ(rig.host.units->start(rig.unit), 0);
  done = true;
  asking.join();
  EXPECT_GT(rig.host.units->latency(rig.unit).input, 0U);
}

TEST(AudioHub, NoTwoCallersMakeTheCallbackLock) {
  // In debug builds the callback may not lock. One caller waits, so the device runs, while the other comes and goes.
  UnitRig rig("pace=fast,slice=64");
  Player anchor(rig, 1);
  ASSERT_EQ(anchor.start(), 0);
  std::thread other([&] {
    for (int round = 0; round < 300; ++round) {
      Player player(rig, 1);
      ASSERT_EQ(player.start(), 0);
      if (round % 8 == 0) rig.host.units->latency(player.unit);
    }
  });
  std::atomic<bool> done = false;
  std::thread timekeeper([&] {
    while (!done) rig.waiter->wait(10ms);
  });
  other.join();
  done = true;
  timekeeper.join();
}

TEST(AudioHubDeathTest, AStopWhereItWouldWaitForItselfEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const std::string pace : {"pace=fast", "pace=real"}) {
    const auto stopInClosure = [&] {
      UnitRig rig(pace);
      rig.wrapper->setInputEnabled(true);
      rig.wrapper->setInputHandler([&](auto&, auto&, auto, auto) { rig.host.units->stop(rig.unit); });
      rig.run(10s);
    };
    EXPECT_DEATH(stopInClosure(), "orvane: UnitService::stop inside the device callback");
    const auto stopInTask = [&] {
      UnitRig rig(pace);
      const auto worker = rig.host.scheduler->makeWorker("stops");
      rig.playSilence();
      rig.host.units->start(rig.unit);
      worker->post([&] { rig.host.units->stop(rig.unit); });
      rig.waiter->wait(10s);
    };
    EXPECT_DEATH(stopInTask(), "orvane: a stop of an audio client inside a worker's task");
  }
}

}  // namespace
}  // namespace orvane::test
