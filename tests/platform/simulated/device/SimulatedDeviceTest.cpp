// SPDX-License-Identifier: MIT

#include <fstream>

#include "platform/RealTime.h"
#include "platform/host/audio/StallWatch.h"
#include "tests/support/UnitRig.h"

namespace orvane::test {
namespace {

using namespace platform;

TEST(SimulatedDevice, TheLoopHearsTheSpeakerOneSliceLater) {
  UnitRig rig("pace=fast,mic=loop,inputs=2,slice=100");
  rig.control.endAfterFrames(1000);
  const auto ramp = [](double frame, auto channel) { return static_cast<float>(frame / 4096 + channel * 100); };
  rig.play(ramp);
  rig.takeInput();
  ASSERT_EQ(rig.run(), 0);
  std::vector<float> expected(200, 0.0F);
  for (int frame = 0; frame < 900; ++frame)
    for (const std::uint32_t channel : {0U, 1U}) expected.push_back(ramp(frame, channel));
  EXPECT_EQ(rig.captured, expected);
}

TEST(SimulatedDevice, StartAgainContinuesTheDeviceAndDoesNotDrift) {
  UnitRig rig("pace=fast,rate=44100,slice=441");
  rig.playSilence();
  const auto& clock = rig.host.scheduler->clock();
  for (std::uint64_t start = 1; start <= 3; ++start) {
    const auto before = clock.now();
    rig.run(3600s + 1ns);  // A nanosecond more, for the slice that is due with the last second.
    EXPECT_EQ(clock.now() - before, 3600s + 1ns);
    ASSERT_EQ(rig.host.units->stop(rig.unit), 0);
    EXPECT_FALSE(rig.waiter->wait(1s)) << "time goes on without the device";
    EXPECT_EQ(rig.report.runCount().frames, start * 3600 * 44100);
    EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none);
  }
}

/// A unit on a simulated device with faults. `faults` is JSON text.
struct FaultyRig : UnitRig {
  explicit FaultyRig(const std::string& faults, const std::string& options = "pace=fast,slice=480")
      : UnitRig(options + ",outputs=1,scenario=" + written(faults)) {}

  static std::string written(const std::string& faults) {
    static const TemporaryFolder folder;
    std::ofstream(folder.file("s.json")) << "{\"faults\":[" << faults << "]}";
    return folder.file("s.json");
  }
};

TEST(Fault, EndsTheRunAtItsTimeAndStaysThere) {
  const std::tuple<std::string, std::string, Status, HostTime> cases[] = {
      {"device-lost", "480", status::deviceLost, 105ms},
      {R"(server-lost"},{"at":0.105,"fault":"device-lost)", "480", status::serverLost, 105ms},
      {"microphone-unplugged", "480", status::deviceLost, 105ms},
      {"stalled", "480", status::stalled, 600ms},
      {"stalled", "4800", status::stalled, 1100ms},  // Ten slices are longer than half a second.
  };
  for (const auto& [fault, slice, failure, end] : cases) {
    SCOPED_TRACE(fault + " " + slice);
    FaultyRig rig(R"({"at":0.105,"fault":")" + fault + R"("})", "pace=fast,slice=" + slice);
    rig.takeInput();
    ASSERT_EQ(rig.run(3s), status::success);
    EXPECT_EQ(rig.host.scheduler->clock().now() - 1s, end);
    EXPECT_EQ(rig.run(3s), fault == "stalled" ? status::success : failure) << "what went wrong stays wrong";
    EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::failed);
    EXPECT_EQ(rig.failure(), failure);
    EXPECT_EQ(rig.captured.size(), 4800U);
  }
}

TEST(Fault, AnUnpluggedMicrophoneEndsTheRunOnceSomebodyTakesTheInput) {
  FaultyRig rig(R"({"at":0.105,"fault":"microphone-unplugged"})");
  rig.playSilence();
  rig.run(1s);
  EXPECT_THAT(rig.log, HasSubstr("the microphone was unplugged: the input is silent"));
  const UnitInstance listener = rig.makeUnit();
  rig.host.units->wrap(listener)->setInputEnabled(true);
  rig.host.units->start(listener);
  rig.waiter->wait(100ms);
  EXPECT_EQ(rig.report.deviceFailure()->reason, "the microphone was unplugged");
  rig.host.units->dispose(listener);
}

TEST(Fault, FramesThatAreMissingShowInStampsSamplesAndCount) {
  const TemporaryFolder folder;
  Sound ramp;
  for (int frame = 0; frame < 200'000; ++frame) ramp.samples.push_back(static_cast<float>(frame));
  writeSound(folder.file("ramp.wav"), ramp);
  // The second gap is longer than the stall limit, but a gap that the device reports is not a stall.
  FaultyRig rig(
      R"({"at":0.5,"fault":"discontinuity","frames":96000},{"at":0.105,"fault":"discontinuity","frames":1000})",
      "pace=fast,slice=480,mic=" + folder.file("ramp.wav"));
  rig.missesFrames = true;
  rig.takeInput();
  ASSERT_EQ(rig.run(10s), status::success);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::inputEnded);
  EXPECT_EQ(rig.report.runCount().discontinuities, 2U);
  ASSERT_EQ(rig.captured.size(), 200'000U - 97'000U);
  EXPECT_EQ(rig.times[10].sampleTime, 5800) << "the first gap comes behind ten slices";
  for (std::size_t slice = 0; slice < rig.times.size(); ++slice) {
    ASSERT_EQ(rig.captured[slice * 480], rig.times[slice].sampleTime);
    ASSERT_EQ(rig.times[slice].hostTime, 1'000'000'000U + std::floor(rig.times[slice].sampleTime * 1e9 / 48000));
  }
  EXPECT_THAT(rig.log, HasSubstr("the device was interrupted: 1000 frames are missing"));
}

TEST(Fault, AGapThatTakesLongToMakeUpAtRealPaceIsNoStall) {
  // The device needs a second to skip the missing frames, which are noise on 64 channels.
  FaultyRig rig(R"({"at":0.01,"fault":"discontinuity","frames":8000000})", "pace=real,mic=noise,inputs=64");
  rig.playSilence();
  ASSERT_EQ(rig.run(1500ms), status::success);
  EXPECT_EQ(rig.report.deviceEnd(), DeviceEnd::none);
}

/// A clock that the test advances, and a worker with a single task that the test runs.
struct HandWound final : Clock, Worker {
  HostTime now() const override { return time; }
  void repeatAt(HostTime when, Repetition next) override { std::tie(due, task) = std::tie(when, next); }
  void cancel() override {}
  std::unique_ptr<Trigger> makeTrigger(Task) override { return nullptr; }

  void lookAt(HostTime now) {
    time = now;
    Repetition{task}();
  }

  HostTime time = 1s;
  HostTime due{};
  Repetition task;
};

TEST(StallWatch, TakesNeitherASuspendedProcessNorACallbackThatTookLongForAStall) {
  HandWound hand;
  int stalls = 0;
  host::StallWatch watch(hand, hand, [&] { ++stalls; });
  watch.begin({48000, 1, 2, 256});
  hand.lookAt(60s);  // Passes without anything that runs.
  EXPECT_EQ(stalls, 0);
  watch.callbackBegins();
  hand.lookAt(hand.due);
  hand.time += 400ms;
  watch.callbackEnds();
  hand.lookAt(hand.due);
  EXPECT_EQ(stalls, 0) << "it counts from the end of that callback";
  hand.lookAt(hand.due);
  EXPECT_EQ(stalls, 1) << "what follows counts again";
  // After a short pause of the process, the watch's check is late, and the device's callback comes after it.
  watch.begin({48000, 1, 2, 256});
  hand.lookAt(hand.due + 100ms);
  watch.callbackBegins();
  watch.callbackEnds();
  hand.lookAt(hand.due);
  EXPECT_EQ(stalls, 1);
}

TEST(IoUnit, ChannelsFollowTheOneRuleInBothDirections) {
  const TemporaryFolder folder;
  const std::string files = "mic=" + folder.file("mic.wav") + ",speaker=" + folder.file("heard.wav");
  const std::pair<std::vector<float>, std::vector<float>> cases[] = {
      {{0.25F}, {0.25F, 0.25F, 0.25F}},      {{0.25F, 0.5F}, {0.375F}},
      {{1.0F, -1.0F, 0.5F, 0.5F}, {0.25F}},  {{0.25F, 0.5F}, {0.25F, 0.5F, 0.0F}},
      {{0.25F, 0.5F, 0.75F}, {0.25F, 0.5F}}, {{0.25F, 0.5F}, {0.25F, 0.5F}}};
  for (const auto& [source, expected] : cases) {
    const auto from = static_cast<std::uint32_t>(source.size());
    const auto to = static_cast<std::uint32_t>(expected.size());
    writeSound(folder.file("mic.wav"), {.channels = static_cast<int>(from), .samples = source});
    UnitRig rig("pace=fast,outputs=" + std::to_string(to) + "," + files);
    rig.wrapper->outputBus(1).setFormat(StreamFormat::standard(48000, to));
    rig.wrapper->inputBus(0).setFormat(StreamFormat::standard(48000, from));
    rig.takeInput();
    rig.play([&samples = source](double, std::uint32_t channel) { return samples[channel]; });
    rig.run();
    EXPECT_EQ(rig.captured, expected);
    EXPECT_EQ(readSound(folder.file("heard.wav")).samples, expected);
  }
}

TEST(IoUnit, RefusesWhatItCannotDo) {
  UnitRig rig("rate=48000,inputs=0,outputs=2,pace=fast");
  UnitService& units = *rig.host.units;
  UnitBus& input = rig.wrapper->outputBus(1);
  UnitBus& output = rig.wrapper->inputBus(0);
  const auto expectRefused = [](UnitBus& bus, const StreamFormat& format, const std::string& reason) {
    const auto error = bus.setFormat(format);
    ASSERT_TRUE(error.has_value()) << reason;
    EXPECT_THAT(error->localizedDescription(), HasSubstr(reason));
  };
  EXPECT_FALSE(output.setFormat(StreamFormat::standard(44100, 3)).has_value());
  expectRefused(input, StreamFormat::standard(48000, 0), "0 channels; a unit takes 1 to 64");
  expectRefused(input, StreamFormat::standard(48000, 65), "65 channels");
  expectRefused(output, StreamFormat::standard(187, 2), "187 Hz asked for; the hardware runs at 48000 Hz, and a unit");
  expectRefused(output, StreamFormat::standard(12288001, 2), "12288001 Hz asked for");
  expectRefused(output, StreamFormat::standard(std::nan(""), 2), "nan Hz is no sample rate");
  expectRefused(output, StreamFormat::linearPcm(48000, 2, 16, format_flag::signedInteger, true), "32-bit float");
  expectRefused(rig.wrapper->outputBus(0), StreamFormat::standard(48000, 2), "hardware's format");
  expectRefused(rig.wrapper->inputBus(1), StreamFormat::standard(48000, 2), "hardware's format");
  EXPECT_EQ(output.format(), StreamFormat::standard(44100, 3)) << "a refused format changes nothing";
  EXPECT_THROW(rig.wrapper->inputBus(2), PlatformException);

  rig.wrapper->setInputEnabled(true);
  EXPECT_EQ(units.start(rig.unit), status::noDevice);
  EXPECT_THAT(rig.log, HasSubstr("the hardware has no input"));
  rig.wrapper->setInputEnabled(false);
  EXPECT_EQ(units.start(rig.unit), 0);
  expectRefused(output, StreamFormat::standard(48000, 2), "stop it before");
  EXPECT_EQ(units.start(static_cast<UnitInstance>(99)), status::badParameter);

  UnitInstance other = UnitInstance::none;
  EXPECT_EQ(units.createInstance(UnitComponent::none, other), status::badParameter);
  EXPECT_EQ(units.findComponent({.subType = 0x78797A77}), UnitComponent::none);
  ASSERT_EQ(units.createInstance(units.findComponent({}), other), 0);
  EXPECT_EQ(units.start(other), status::wrongState) << "not initialised";
  units.dispose(other);
}

TEST(IoUnit, RenderWorksInsideItsOwnSliceOnly) {
  UnitRig rig("pace=fast,inputs=2");
  PX::BufferList longer(3);
  for (const std::size_t index : {0U, 1U, 2U}) longer[index] = {1, 4, nullptr};
  PX::BufferList list(2);
  RenderActionFlags flags = 0;
  const auto render = rig.wrapper->renderOperation();
  const auto renderOutside = [&] { return render(flags, {}, 16, 1, longer.GetAudioBufferList(), nullptr); };
  EXPECT_EQ(renderOutside(), status::wrongState);
  std::vector<Status> seen;
  seen.reserve(5);
  rig.wrapper->setInputEnabled(true);
  rig.wrapper->setInputHandler([&](auto& theirs, auto& time, std::uint32_t frames, int) {
    const auto renderInto = [&](std::uint32_t wanted, int bus, PX::BufferList& target, RenderBuffer first) {
      list[0] = first;
      list[1] = {1, 4, nullptr};
      seen.push_back(render(theirs, time, wanted, bus, target.GetAudioBufferList(), nullptr));
    };
    float tooSmall[1];
    renderInto(frames, 0, list, {1, 4, nullptr});
    renderInto(frames + 1, 1, list, {1, 4, nullptr});
    renderInto(frames, 1, longer, {1, 4, nullptr});
    renderInto(frames, 1, list, {1, 4, tooSmall});
    renderInto(frames, 1, list, {2, 4, nullptr});
  });
  rig.control.endAfterFrames(256);
  rig.run();
  EXPECT_EQ(seen, std::vector<Status>(5, status::badParameter));
  rig.host.units->dispose(rig.unit);
  EXPECT_EQ(renderOutside(), status::wrongState);
}

}  // namespace
}  // namespace orvane::test
