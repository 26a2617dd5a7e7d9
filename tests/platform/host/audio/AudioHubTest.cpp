// SPDX-License-Identifier: MIT
#include "platform/host/audio/AudioHub.h"

#include "tests/support/ScriptedDevice.h"
#include "tests/support/UnitRig.h"

namespace orvane::test {
namespace {

using platform::DeviceEnd, platform::StreamFormat;
using Pace = host::HostContext::Pace;
namespace status = platform::status;

/// A unit that plays a constant value. Fails the test if its output provider is called before a start or after a stop.
struct Player {
  explicit Player(UnitRig& rig, float value = 1) : units(*rig.host.units), unit(rig.makeUnit()) {
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

/// A `UnitRig` on a device whose callback the test calls.
struct ScriptedRig : ScriptedDevice, UnitRig {
  explicit ScriptedRig(Pace pace = Pace::fast) : ScriptedDevice(pace), UnitRig(std::exchange(services, {})) {}
};

TEST(FrameCount, CountsTimeThroughChangesOfTheRate) {
  host::FrameCount count;
  count.setRate(48000);
  count.add(24000);
  count.setRate(44100);
  EXPECT_EQ(count.left(48000), 22050U);
  EXPECT_EQ(count.left(24001), 1U) << "rounded up";
  count.add(22049);
  EXPECT_EQ(count.frames(), 47998U);
  EXPECT_EQ(count.left(48000), 1U);
  count.add(1);
  EXPECT_EQ(count.frames(), 48000U);
  EXPECT_EQ(count.left(48000), 0U);
  count.setRate(48000);
  count.add(100);
  EXPECT_EQ(count.left(48'000'000'000'000), 47'999'999'951'900U);
  EXPECT_EQ(count.rate(), 48000);
}

TEST(AudioHub, MixesInOrderOfStartingAndIsSilentWhereNobodyPlays) {
  ScriptedRig rig;
  // Addition in single precision is not associative: the 5 is kept only if the two large values cancel out before it is
  // added.
  Player large(rig, 1e8F), opposite(rig, -1e8F), small(rig, 5);
  for (Player* player : {&large, &opposite, &small}) ASSERT_EQ(player->start(), 0);
  rig.slice(1);
  EXPECT_EQ(rig.state->played, std::vector{5.0F});
  opposite.stop();
  EXPECT_EQ(opposite.start(), 0);
  rig.slice(1);
  EXPECT_EQ(rig.state->played, std::vector{8.0F});
  EXPECT_EQ(rig.host.units->start(rig.unit), 0);
  for (Player* player : {&large, &opposite, &small}) player->stop();
  rig.slice(1);
  EXPECT_EQ(rig.state->played, std::vector{0.0F});
}

TEST(AudioHub, AFailedStartRegistersNobody) {
  ScriptedRig rig;
  Player failed(rig), other(rig);
  rig.loseDevice();
  EXPECT_EQ(failed.start(), status::deviceLost);
  rig.state->onStart = nullptr;
  EXPECT_EQ(other.start(), 0);
  rig.slice(256);
  EXPECT_EQ(std::pair(failed.slices.load(), other.slices.load()), std::pair(0, 1));
}

TEST(AudioHub, NoUnitIsCalledOnceItHasStopped) {
  // With such short slices the device is always late, so it makes callbacks without a pause.
  UnitRig rig("rate=768000,slice=1");
  Player anchor(rig);
  ASSERT_EQ(anchor.start(), 0);
  for (int round = 0; round < 2000; ++round) {
    Player player(rig);
    ASSERT_EQ(player.start(), 0);
    while (round % 16 == 0 && player.slices == 0) std::this_thread::yield();
  }
}

TEST(AudioHub, EndsTheRunAtTheExactFrameAndCountsWhatItHandedOut) {
  ScriptedRig rig;
  Player player(rig);
  rig.control.endAfterFrames(1000);
  ASSERT_EQ(player.start(), 0);
  EXPECT_EQ(rig.slice(512), 512U);
  EXPECT_EQ(rig.slice(300, 44), 300U);
  EXPECT_EQ(rig.slice(256), 188U);
  std::vector<float> expected(256, 0.0F);
  EXPECT_NE(rig.state->played, expected);
  EXPECT_EQ(rig.slice(256), 0U);
  EXPECT_EQ(rig.state->played, expected);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none) << "known when the hub's worker has stopped the device";
  rig.waiter->wait(1ms);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::frameLimit);
  EXPECT_EQ(rig.state->callback, nullptr);
  const platform::RunCount count = rig.report.runCount();
  EXPECT_EQ(std::tuple(count.frames, count.discontinuities, count.maxSliceFrames), std::tuple(1000U, 1U, 512U));
}

/// A test case: an event that ends a run, and the expected result for a client that starts before the device has been
/// stopped.
struct EndOfRun {
  const char* name;
  std::function<void(ScriptedRig&)> happens;
  platform::Status start = status::badSlice;
  int starts = 1;
  DeviceEnd end = DeviceEnd::failed;
};

class AudioHubAtTheEnd : public testing::TestWithParam<EndOfRun> {};

TEST_P(AudioHubAtTheEnd, AnotherClientBeginsAnotherRunOrLearnsWhy) {
  const auto& [name, happens, start, starts, end] = GetParam();
  ScriptedRig rig;
  int told = 0;
  const auto notice = rig.control.onDeviceEnd([&] { ++told; });
  Player first(rig), second(rig);
  ASSERT_EQ(first.start(), 0);
  happens(rig);
  EXPECT_EQ(second.start(), start);
  EXPECT_EQ(rig.state->starts, starts);
  rig.slice(256);
  rig.waiter->wait(1ms);
  EXPECT_EQ(second.slices, start == 0 ? 1 : 0);
  EXPECT_EQ(first.slices, second.slices) << "a slice that breaks the contract is nobody's";
  EXPECT_EQ(told, 1);
  EXPECT_EQ(rig.report.deviceEnd(), end);
}

void endInput(ScriptedRig& rig) {
  rig.state->callback->deviceEnded(DeviceEnd::inputEnded, {});
}

const EndOfRun endsOfRuns[] = {
    {"InputEnded", endInput, status::success, 2, DeviceEnd::none},
    {"InputEndedAndDeviceLost", [](auto& rig) { endInput(rig), rig.loseDevice(); }, status::deviceLost, 2,
     DeviceEnd::inputEnded},
    {"DeviceLost",
     [](auto& rig) {
       rig.state->callback->deviceEnded(DeviceEnd::failed, platform::Failure{status::deviceLost, ""});
     },
     status::deviceLost},
    {"SliceOfNoFrames", [](auto& rig) { EXPECT_EQ(rig.slice(0), 0U); }},
    {"SliceTooLong", [](auto& rig) { EXPECT_EQ(rig.slice(8193), 0U); }},
    {"PlaneTooMany", [](auto& rig) { EXPECT_EQ(rig.slice(256, 0, 2), 0U); }},
    {"PlaneMissing", [](auto& rig) { EXPECT_EQ(rig.slice(256, 0, 0), 0U); }},
    {"PlaneNotAligned", [](auto& rig) { EXPECT_EQ(rig.slice(256, 0, 1, 1), 0U); }}};

INSTANTIATE_TEST_SUITE_P(Run, AudioHubAtTheEnd, testing::ValuesIn(endsOfRuns), byName);

TEST(AudioHub, RebuildsItsClientsWhenTheDeviceChangesAndGoesOn) {
  ScriptedRig rig;
  rig.missesFrames = true;
  rig.wrapper->outputBus(1).setFormat(StreamFormat::standard(48000, 2));
  rig.takeInput();
  ASSERT_EQ(rig.host.units->start(rig.unit), 0);
  rig.slice(480);
  const auto change = [&](backend::DeviceFormat format) {
    rig.change(format);
    EXPECT_EQ(rig.slice(480), 0U);
    rig.waiter->wait(1ms);
  };
  change({24000, 2, 1, 128});
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none);
  EXPECT_EQ(rig.report.hardwareInput(), StreamFormat::standard(24000, 2));
  for (int slice = 0; slice < 10; ++slice) EXPECT_EQ(rig.slice(480, 0, 2), 480U);
  EXPECT_EQ(rig.report.runCount().discontinuities, 1U);
  EXPECT_GT(rig.host.units->latency(rig.unit).input, 0U) << "the rate is converted now";
  ASSERT_GT(rig.times.size(), 2U);
  EXPECT_EQ(rig.times[1].sampleTime, 480) << "time stamps go on";
  // If a client cannot continue, the run ends and reports the reason.
  change({24000, 0, 1, 128});
  EXPECT_EQ(rig.failure(), status::noDevice);
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
  EXPECT_EQ(rig.failure(), status::stalled);
}

TEST(AudioHub, ADeviceThatTakesLongToStartHasNotStalled) {
  ScriptedRig rig(Pace::real);
  Player player(rig);
  rig.state->onStart = [] {
    std::this_thread::sleep_for(700ms);
    return std::nullopt;
  };
  ASSERT_EQ(player.start(), 0);
  rig.waiter->wait(100ms);
  EXPECT_EQ(rig.slice(256), 256U);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none);
  const auto stall = rig.control.onDeviceEnd([&] { rig.waiter->signal(); });
  EXPECT_TRUE(rig.waiter->wait(10s));
  EXPECT_EQ(rig.failure(), status::stalled) << "it is watched since";
}

TEST(AudioHub, AUnitThatCannotStartAgainAfterItsClosureWasReplacedSaysSo) {
  ScriptedRig rig;
  rig.playSilence();
  ASSERT_EQ(rig.host.units->start(rig.unit), 0);
  rig.loseDevice();
  rig.playSilence();
  EXPECT_FALSE(rig.host.units->isRunning(rig.unit));
  EXPECT_THAT(rig.log, HasSubstr("UnitService::start failed: gone\n"
                                 "an I/O unit whose closure was replaced could not start again\n"));
}

/// A hub client that is not an I/O unit. It counts its slices.
struct CountingClient final : host::HubClient {
  const char* deviceSlice(const host::HubSlice& slice, host::OutputMix&) override {
    EXPECT_EQ(slice.inputs.size(), format.inputs);
    return ++slices, nullptr;
  }
  bool takesInput() const override { return false; }
  std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& changed) override {
    return format = changed, std::nullopt;
  }
  backend::DeviceFormat format;
  std::atomic<int> slices = 0;
};

/// A hub without a host around it, with two clients, on a device whose callback the test calls.
struct HubRig : ScriptedDevice {
  explicit HubRig(Pace pace = Pace::fast) : ScriptedDevice(pace) {}

  host::AudioHub hub{context, std::make_unique<Device>(state)};
  const std::unique_ptr<platform::Waiter> waiter = context->scheduler->makeWaiter();
  CountingClient first;
  CountingClient second;
};

TEST(AudioHub, AClientLeavesFromATaskWithoutWaiting) {
  for (const Pace pace : {Pace::fast, Pace::real}) {
    HubRig rig(pace);
    const auto worker = rig.context->scheduler->makeWorker("client");
    ASSERT_FALSE(rig.hub.add(rig.first) || rig.hub.add(rig.second));
    EXPECT_FALSE(rig.state->inputTaken);
    for (CountingClient* client : {&rig.second, &rig.second, &rig.first}) {
      worker->post([&, client] {
        rig.hub.removeSoon(
            *client, [] { return true; }, [&] { rig.waiter->signal(); });
      });
      ASSERT_TRUE(rig.waiter->wait(10s)) << "also for one that has left already";
      EXPECT_EQ(rig.state->callback == nullptr, client == &rig.first) << "the last one stops the device";
    }
    ASSERT_FALSE(rig.hub.add(rig.first));
    rig.hub.removeSoon(
        rig.first, [] { return false; }, [] { ADD_FAILURE() << "nobody wanted it any more"; });
    worker->post([&] { rig.waiter->signal(); });
    ASSERT_TRUE(rig.waiter->wait(10s));
    EXPECT_NE(rig.state->callback, nullptr) << "it is still a client";
    rig.hub.remove(rig.first);
    host::AudioHub without(rig.context, nullptr);
    without.removeSoon(
        rig.first, [] { return true; }, [&] { rig.waiter->signal(); });
    EXPECT_TRUE(rig.waiter->wait(10s));
  }
}

TEST(AudioHub, AClientThatJoinsIsToldTheFormatOfNow) {
  HubRig rig;
  ASSERT_FALSE(rig.hub.add(rig.first));
  rig.second.format = rig.hub.format();
  rig.change({48000, 2, 1, 256});
  rig.waiter->wait(1ms);
  ASSERT_FALSE(rig.hub.add(rig.second));
  EXPECT_EQ(rig.slice(256, 0, 2), 256U);
  EXPECT_EQ(rig.second.slices, 1);
}

/// The callback ends the run while a client joins, before the device has taken on the client's sides.
TEST(AudioHub, ARunThatEndsWhileAClientJoinsIsNotForgotten) {
  HubRig rig;
  int told = 0;
  const auto notice = rig.context->runEnd.onEnd([&] { ++told; });
  ASSERT_FALSE(rig.hub.add(rig.first));
  rig.state->onSides = [&] { rig.slice(0); };
  EXPECT_EQ(rig.hub.add(rig.second).value_or(platform::Failure{}).status, status::badSlice);
  EXPECT_EQ(rig.context->runEnd.end(), DeviceEnd::failed) << "the first client holds the run";
  EXPECT_EQ(rig.state->starts, 1);
  rig.waiter->wait(1ms);
  EXPECT_EQ(told, 1);
  rig.hub.remove(rig.first);
  // After another end the device is started again. If that fails, the end remains in force.
  ASSERT_FALSE(rig.hub.add(rig.first));
  rig.hub.endAfterFrames(256);
  rig.state->onSides = [&] { rig.slice(256); };
  rig.loseDevice();
  EXPECT_EQ(rig.hub.add(rig.second).value_or(platform::Failure{}).reason, "gone");
  EXPECT_EQ(rig.context->runEnd.end(), DeviceEnd::frameLimit);
  rig.waiter->wait(1ms);
  EXPECT_EQ(told, 2);
  rig.hub.remove(rig.first);
}

TEST(AudioHub, NeitherOtherCallersNorAskingForLatencyMakeTheCallbackLock) {
  // In debug builds a lock on the callback ends the process. One thread waits, so that the device runs, while the other
  // creates and destroys units.
  UnitRig rig("pace=fast,slice=64");
  rig.wrapper->outputBus(1).setFormat(StreamFormat::standard(44100, 1));
  rig.wrapper->setInputEnabled(true);
  std::atomic<bool> done = false;
  std::jthread other([&] {
    for (int round = 0; round < 300; ++round) {
      Player player(rig);
      EXPECT_EQ(player.start(), 0);
      EXPECT_LT(rig.host.units->latency(rig.unit).input, 1000U);
    }
    done = true;
  });
  do {
    ASSERT_EQ(rig.host.units->start(rig.unit), 0);
    rig.waiter->wait(10ms);
  } while (!done);
  EXPECT_GT(rig.host.units->latency(rig.unit).input, 0U);
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
