#include "platform/simulated/Scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/Hosts.h"
#include "platform/Log.h"
#include "platform/PlatformException.h"
#include "platform/Report.h"
#include "platform/Scheduler.h"
#include "platform/UnitService.h"
#include "platform/simulated/SimulatedOptions.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane::simulated {
namespace {

using namespace std::chrono_literals;
using platform::DeviceEnd;
using platform::RenderActionFlags;
using platform::RenderBufferList;
using platform::RenderTimeStamp;
using platform::UnitInstance;
using testing::HasSubstr;
using testing::StartsWith;
namespace status = platform::status;

void writeText(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

std::string refusalOf(const std::string& options) {
  try {
    platform::makeSimulatedHost(options);
  } catch (const platform::PlatformException& exception) {
    return exception.reason();
  }
  return "taken";
}

TEST(Scenario, WhatIsWrongIsRefusedByItsPlace) {
  const test::TemporaryFolder folder;
  test::writeSound(folder.file("voice.wav"), {.rate = 44100, .channels = 2, .samples = {0, 0}});
  const std::string longKey(300, 'k');
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "JSON is wrong at line 1, column 1: "},
      {"{\"audio\":\n{\"rate\":}}", "JSON is wrong at line 2, column 9: "},
      {R"({"audio":{"rate":1,"rate":2}})", "the key \"rate\" stands twice here"},
      {std::string(65, '['), "nested deeper than 64 levels"},
      {std::string(Scenario::mostBytes + 1, ' '), "a scenario has 1048576 bytes at most"},
      {"[]", "an object is needed, not []"},
      {R"({"sound":{}})", "sound: unknown key; the keys here are audio, session, faults"},
      {R"({")" + longKey + R"(":0})", longKey.substr(0, 80) + "…: unknown key"},
      {R"({"a\nb":0})", "a?b: unknown key"},
      {R"({"midi":{}})", "midi: this version simulates no MIDI; leave the key out"},
      {R"({"audio":{"volume":1}})", "audio.volume: unknown key; the keys here are rate, inputs, outputs, slice, pace"},
      {R"({"audio":{"rate":"48000"}})", "audio.rate: a whole number from 0 to 768000 is needed, not \"48000\""},
      {R"({"audio":{"rate":48000.5}})", "audio.rate: a whole number from 0 to 768000 is needed, not 48000.5"},
      {R"({"audio":{"rate":1e300}})", "audio.rate: a whole number from 0 to 768000 is needed, not 1e+300"},
      {R"({"audio":{"outputs":null}})", "audio.outputs: a whole number from 0 to 64 is needed, not null"},
      {R"({"audio":{"pace":"slow"}})", "audio.pace: \"real\" or \"fast\" is needed, not \"slow\""},
      {R"({"audio":{"microphone":"tone:loud"}})", "audio.microphone: the frequency in hertz is a number"},
      {R"({"audio":{"microphone":"none.wav"}})", "audio.microphone: \"" + folder.file("none.wav") + "\": No such file"},
      {R"({"audio":{"microphone":"voice.wav","rate":48000}})", "audio.rate: the microphone's file has 44100"},
      {R"({"audio":{"microphone":"voice.wav","speaker":"./voice.wav"}})", "audio.speaker: the speaker would overwrite"},
      {R"({"audio":{"speaker":"none/out.wav"}})", "out.wav\": there is no such folder"},
      {R"({"audio":{"speaker":"a\u0000b"}})", "audio.speaker: a path has no zero byte"},
      {R"({"session":{"deny":{}}})", "session.deny: unknown key; the only key here is refuse"},
      {R"({"session":{"refuse":{"active":"x"}}})", "session.refuse.active: unknown key; the keys here are activate"},
      {R"({"faults":{}})", "faults: a list is needed"},
      {R"({"faults":[{"at":0}]})",
       "faults[0]: the key \"fault\" is missing: it is one of microphone-unplugged, device-"},
      {R"({"faults":[{"at":0,"fault":"fire"}]})", "faults[0].fault: one of microphone-unplugged, device-lost"},
      {R"({"faults":[{"fault":"stalled"}]})", "faults[0]: the key \"at\" is missing: seconds after"},
      {R"({"faults":[{"at":-1,"fault":"stalled"}]})", "faults[0].at: a number of seconds from 0 to 1000000000"},
      {R"({"faults":[{"at":0,"fault":"stalled"},{"at":0,"fault":"device-lost","status":1}]})",
       "faults[1].status: unknown key; the keys here are at, fault"},
      {R"({"faults":[{"at":0,"fault":"discontinuity","frames":0}]})", "frames: a whole number from 1 to 10000000"},
      {R"({"faults":[{"at":0,"fault":"render-status","status":0}]})", "faults[0].status: 0 is success"},
      {R"({"faults":[{"at":0,"fault":"refuse","status":-1}]})",
       "the key \"call\" is missing: it is one of UnitService::"},
      {R"({"faults":[{"at":0,"fault":"refuse","call":"UnitService::dispose","status":-1}]})",
       "faults[0].call: one of UnitService::findComponent, UnitService::createInstance, UnitService::wrap"},
      {R"({"faults":[{"at":0,"fault":"refuse","call":"UnitService::start"}]})", "the key \"status\" is missing"},
  };
  const std::string file = folder.file("scenario.json");
  for (const auto& [text, reason] : cases) {
    writeText(file, text);
    const std::string refusal = refusalOf("scenario=" + file);
    EXPECT_THAT(refusal, StartsWith("scenario=" + file + ": ")) << text.substr(0, 100);
    EXPECT_THAT(refusal, HasSubstr(reason));
  }
  EXPECT_THAT(refusalOf("scenario=" + folder.file("no.json")), HasSubstr("no.json\": No such file"));
  EXPECT_THAT(refusalOf("scenario=" + folder.path().string()), HasSubstr("is not a regular file"));
}

TEST(Scenario, IsReadWholeWithPathsFromItsFolder) {
  const Scenario scenario = parseScenario(R"({
    "audio": {"rate": 44100.0, "inputs": 2, "outputs": 0, "slice": 64, "pace": "fast",
              "microphone": "voice.wav", "speaker": "/far/out.wav"},
    "session": {"refuse": {"activate": "", "mode": "no"}},
    "faults": [{"at": 2, "fault": "refuse", "call": "UnitService::wrap"}, {"fault": "disk-full", "at": 0.25},
               {"at": 2, "fault": "discontinuity", "frames": 7}]})",
                                          "folder/scenario.json");
  EXPECT_EQ(scenario.device.rate->value, 44100U);
  EXPECT_EQ(scenario.device.outputs->value, 0U);
  EXPECT_TRUE(scenario.device.fastPace->value);
  EXPECT_EQ(scenario.device.microphone->value, "folder/voice.wav");
  EXPECT_EQ(scenario.device.speaker->value, "/far/out.wav");
  EXPECT_EQ(scenario.session, (SessionRefusals{.activate = "", .mode = "no"}));
  ASSERT_EQ(scenario.faults.size(), 3U);
  EXPECT_EQ(scenario.faults[0].at, 250ms);
  EXPECT_EQ(scenario.faults[1].call, "UnitService::wrap");
  EXPECT_EQ(scenario.faults[2].frames, 7U);
  DeviceSettings device = parseSimulatedOptions("scenario=s.json,rate=8000").device;
  device.fillFrom(scenario.device);
  EXPECT_EQ(device.rate->value, 8000U) << "an option goes before the scenario";
  EXPECT_EQ(device.inputs->value, 2U);
  const auto microphone = [](const char* text, const char* file) {
    return parseScenario(R"({"audio":{"microphone":")" + std::string(text) + R"("}})", file).device.microphone->value;
  };
  EXPECT_EQ(microphone("noise", "folder/s.json"), "noise");
  EXPECT_EQ(microphone("./noise", "s.json"), "./noise");
  EXPECT_EQ(microphone("voice.wav", "tone:1/s.json"), "./tone:1/voice.wav") << "a folder is no tone";
}

/// A unit on a simulated host, set up by a scenario of these faults.
class Rig {
 public:
  explicit Rig(const std::string& faults, const std::string& options = "pace=fast,mic=tone:440:0.5") {
    writeText(mFolder.file("s.json"), R"({"audio":{"rate":48000,"slice":480,"outputs":1},"faults":[)" + faults + "]}");
    host = platform::makeSimulatedHost(options + ",scenario=" + mFolder.file("s.json"));
    host.log->setSink([this](platform::LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
    unit = makeUnit();
    wrapper = host.units->wrap(unit);
  }
  ~Rig() { host.units->dispose(unit); }

  UnitInstance makeUnit() const {
    UnitInstance made{};
    EXPECT_EQ(host.units->createInstance(host.units->findComponent({}), made), 0);
    EXPECT_EQ(host.units->initialize(made), 0);
    return made;
  }

  /// Collects the first channel of the input, with the time stamp of each slice.
  void takeInput() {
    captured.reserve(1 << 20);
    times.reserve(1 << 16);
    wrapper->setInputEnabled(true);
    wrapper->setInputHandler([this, render = wrapper->renderOperation()](
                                 RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames, int bus) {
      struct {
        RenderBufferList header{1};
        platform::RenderBuffer entry{1, 0, nullptr};
      } list;
      ASSERT_EQ(render(flags, time, frames, bus, list.header, nullptr), 0);
      times.push_back(time);
      const auto* samples = static_cast<const float*>(list.header.buffers()[0].data);
      captured.insert(captured.end(), samples, samples + frames);
    });
  }

  void giveOutput() {
    wrapper->setOutputProvider([](auto&, auto&, auto, auto, auto&) { return status::success; });
  }

  /// Starts the unit, and waits for the end of the device or for as long as `limit`.
  platform::Status run(platform::HostTime limit = 3s) {
    const auto ended = std::shared_ptr(host.scheduler->makeWaiter());
    const platform::Status started = host.units->start(unit);
    host.report->onDeviceEnd([ended] { ended->signal(); });
    if (started == status::success) ended->wait(limit);
    return started;
  }

  platform::Platform host;
  UnitInstance unit{};
  std::shared_ptr<platform::UnitWrapper> wrapper;
  std::vector<float> captured;
  std::vector<RenderTimeStamp> times;
  std::string log;

 private:
  test::TemporaryFolder mFolder;
};

TEST(Fault, EndsTheRunAtItsTimeWithAReason) {
  struct Case {
    std::string fault;
    platform::Status status;
    platform::Status again;  ///< What another start answers.
    std::string reason;
    std::uint64_t frames;
    platform::HostTime end;  ///< After the start.
  };
  const Case cases[] = {
      {"device-lost", status::deviceLost, status::deviceLost, "the device was lost", 4800, 105ms},
      {"server-lost", status::serverLost, status::serverLost, "the sound server was lost", 4800, 105ms},
      {"microphone-unplugged", status::deviceLost, status::deviceLost, "the microphone was unplugged", 4800, 105ms},
      {"stalled", status::stalled, status::success, "the device stalled: no callback for 500 ms", 4800, 600ms},
  };
  for (const Case& expected : cases) {
    SCOPED_TRACE(expected.fault);
    Rig rig(R"({"at":0.105,"fault":")" + expected.fault + R"("})");
    rig.takeInput();
    ASSERT_EQ(rig.run(), status::success);
    const platform::Report& report = *rig.host.report;
    EXPECT_EQ(report.deviceEnd(), DeviceEnd::failed);
    ASSERT_TRUE(report.deviceFailure().has_value());
    EXPECT_EQ(report.deviceFailure()->status, expected.status);
    EXPECT_EQ(report.deviceFailure()->reason, expected.reason);
    EXPECT_EQ(report.runCount().frames, expected.frames);
    EXPECT_EQ(rig.captured.size(), expected.frames);
    EXPECT_EQ(rig.host.scheduler->clock().now() - 1s, expected.end);

    EXPECT_EQ(rig.host.units->stop(rig.unit), status::success);
    EXPECT_EQ(rig.run(), expected.again) << "what went wrong stays wrong";
    EXPECT_EQ(report.deviceFailure()->status, expected.status);
    EXPECT_EQ(report.runCount().frames, expected.frames);
  }
}

TEST(Fault, AnUnpluggedMicrophoneEndsOnlyWhatTakesTheInput) {
  Rig rig(R"({"at":0.105,"fault":"microphone-unplugged"})");
  rig.giveOutput();
  rig.run(1s);
  EXPECT_EQ(rig.host.report->deviceEnd(), DeviceEnd::none);
  EXPECT_EQ(rig.host.report->runCount().frames, 48000U - 480U);
  EXPECT_THAT(rig.log, HasSubstr("The microphone was unplugged: the input is silent"));

  const UnitInstance listener = rig.makeUnit();
  rig.host.units->wrap(listener)->setInputEnabled(true);
  rig.host.units->start(listener);
  rig.host.scheduler->makeWaiter()->wait(100ms);
  EXPECT_EQ(rig.host.report->deviceFailure()->reason, "the microphone was unplugged");
  rig.host.units->dispose(listener);
}

TEST(Fault, FramesThatAreMissingShowInStampsSamplesAndCount) {
  const test::TemporaryFolder folder;
  test::Sound ramp{.rate = 48000, .channels = 1, .samples = {}};
  for (int frame = 0; frame < 200'000; ++frame) ramp.samples.push_back(static_cast<float>(frame));
  test::writeSound(folder.file("ramp.wav"), ramp);
  // The second gap is longer than a stall; one that the device reports is none.
  Rig rig(R"({"at":0.105,"fault":"discontinuity","frames":1000},{"at":0.5,"fault":"discontinuity","frames":96000})",
          "pace=fast,mic=" + folder.file("ramp.wav"));
  rig.takeInput();
  ASSERT_EQ(rig.run(10s), status::success);
  EXPECT_EQ(rig.host.report->deviceEnd(), DeviceEnd::inputEnded);
  EXPECT_EQ(rig.host.report->runCount().discontinuities, 2U);
  EXPECT_EQ(rig.host.report->runCount().frames, 200'000U - 97'000U);
  ASSERT_EQ(rig.captured.size(), 200'000U - 97'000U);
  EXPECT_EQ(rig.times[10].sampleTime, 5800) << "the first gap comes behind ten slices";
  for (std::size_t slice = 0; slice < rig.times.size(); ++slice) {
    const RenderTimeStamp& time = rig.times[slice];
    ASSERT_EQ(rig.captured[slice * 480], time.sampleTime);
    ASSERT_EQ(time.hostTime, 1'000'000'000U + std::floor(time.sampleTime * 1e9 / 48000));
  }
  EXPECT_THAT(rig.log, HasSubstr("The device was interrupted: 1000 frames are missing"));
}

TEST(StallAtRealPace, IsNoticedAndIsNoCallbackThatBlocks) {
  Rig stalled(R"({"at":0.05,"fault":"stalled"})", "pace=real");
  stalled.takeInput();
  ASSERT_EQ(stalled.run(20s), status::success);
  EXPECT_EQ(stalled.host.report->deviceFailure()->status, status::stalled);
  EXPECT_EQ(stalled.host.report->runCount().frames, stalled.captured.size());
  EXPECT_GE(stalled.host.scheduler->clock().now(), 1500ms) << "the clock begins at one second";

  Rig blocked("", "pace=real");
  blocked.wrapper->setInputEnabled(true);
  blocked.wrapper->setInputHandler([](auto&, auto&, auto, auto) { std::this_thread::sleep_for(700ms); });
  ASSERT_EQ(blocked.run(900ms), status::success);
  EXPECT_EQ(blocked.host.report->deviceEnd(), DeviceEnd::none);
}

}  // namespace
}  // namespace orvane::simulated
