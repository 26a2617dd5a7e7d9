#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/Log.h"
#include "platform/PlatformException.h"
#include "platform/PlatformSession.h"
#include "platform/RealTime.h"
#include "platform/Report.h"
#include "platform/Scheduler.h"
#include "platform/SessionIdentifiers.h"
#include "platform/UnitService.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane {
namespace {

using namespace std::chrono_literals;
using platform::RenderActionFlags;
using platform::RenderBufferList;
using platform::RenderTimeStamp;
using platform::StreamFormat;
using platform::UnitInstance;
using testing::HasSubstr;
namespace status = platform::status;

/// One unit on a simulated host, as a tool would set it up.
class Rig {
 public:
  explicit Rig(const std::string& options) : host(platform::makeSimulatedHost(options)), units(*host.units) {
    host.log->setSink([this](platform::LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
    EXPECT_EQ(units.createInstance(units.findComponent({}), unit), 0);
    wrapper = units.wrap(unit);
    EXPECT_EQ(units.initialize(unit), 0);
  }
  ~Rig() { units.dispose(unit); }

  /// Collects all input until the device ends by itself, interleaved; also what the time stamps said.
  std::vector<float> capture(std::uint32_t channels) {
    struct List {
      RenderBufferList header{0};
      platform::RenderBuffer entries[4];
    };
    std::vector<float> captured;
    captured.reserve(1 << 20);
    List list;
    list.header.bufferCount = channels;
    wrapper->setInputEnabled(true);
    wrapper->setInputHandler([&, render = wrapper->renderOperation()](
                                 RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t frames, int bus) {
      for (auto& entry : list.header.buffers()) entry = {1, frames * 4, nullptr};
      ASSERT_EQ(render(flags, time, frames, bus, list.header, nullptr), 0);
      ASSERT_EQ(time.sampleTime, static_cast<double>(captured.size() / channels));
      slices.push_back(frames);
      for (std::uint32_t frame = 0; frame < frames; ++frame) {
        for (auto& entry : list.header.buffers()) captured.push_back(static_cast<const float*>(entry.data)[frame]);
      }
    });
    slices.reserve(1 << 16);
    run();
    wrapper->setInputHandler(nullptr);
    return captured;
  }

  void run() {
    host.report->onDeviceEnd([this] { host.eventLoop->stop(); });
    ASSERT_EQ(units.start(unit), 0) << log;
    host.eventLoop->run();
    ASSERT_EQ(units.stop(unit), 0);
  }

  /// Plays a ramp that tells every frame and channel apart.
  void playRamp() {
    wrapper->setOutputProvider(
        [](RenderActionFlags&, const RenderTimeStamp& time, std::uint32_t frames, int, RenderBufferList& list) {
          float channelStep = 0;
          for (auto& entry : list.buffers()) {
            for (std::uint32_t frame = 0; frame < frames; ++frame) {
              static_cast<float*>(entry.data)[frame] = static_cast<float>(time.sampleTime + frame) / 4096 + channelStep;
            }
            channelStep += 100;
          }
          return status::success;
        });
  }

  platform::Platform host;
  platform::UnitService& units;
  UnitInstance unit = UnitInstance::none;
  std::shared_ptr<platform::UnitWrapper> wrapper;
  std::vector<std::uint32_t> slices;
  std::string log;
};

test::Sound awkwardSound() {
  test::Sound sound{.rate = 44100, .channels = 2, .samples = {}};
  for (int index = 0; index < 2 * 1003; ++index) sound.samples.push_back(static_cast<float>(index) / 512 - 1);
  sound.samples[7] = std::numeric_limits<float>::infinity();
  sound.samples[400] = std::nanf("");
  sound.samples[1999] = -0.0F;
  return sound;
}

TEST(SimulatedDevice, AMicrophonesFileArrivesAsItIsAtEverySliceLength) {
  const test::TemporaryFolder folder;
  const test::Sound sound = awkwardSound();
  test::writeSound(folder.file("mic.wav"), sound);
  for (const std::uint32_t slice : {1U, 17U, 64U, 256U, 1003U, 8192U}) {
    Rig rig("pace=fast,mic=" + folder.file("mic.wav") + ",slice=" + std::to_string(slice));
    EXPECT_EQ(rig.host.report->hardwareInput(), StreamFormat::standard(44100, 2));
    const std::vector<float> captured = rig.capture(2);
    ASSERT_EQ(captured.size(), sound.samples.size());
    for (std::size_t index = 0; index < captured.size(); ++index) {
      ASSERT_EQ(std::bit_cast<std::uint32_t>(captured[index]), std::bit_cast<std::uint32_t>(sound.samples[index]))
          << index << " at slice " << slice;
    }
    EXPECT_EQ(rig.slices.size(), (1003 + slice - 1) / slice);
    EXPECT_EQ(rig.host.report->deviceEnd(), platform::DeviceEnd::inputEnded);
    EXPECT_EQ(rig.host.report->runCount().frames, 1003U);
  }
}

TEST(SimulatedDevice, MadeMicrophonesAreWhatTheySay) {
  const auto captured = [](const std::string& options) {
    Rig rig("pace=fast,slice=100,inputs=2," + options);
    rig.host.report->endAfterFrames(1000);
    return rig.capture(2);
  };
  const std::vector<float> tone = captured("mic=tone:1000:0.25,rate=44100");
  ASSERT_EQ(tone.size(), 2000U);
  for (std::size_t frame = 0; frame < 1000; ++frame) {
    const double expected = 0.25 * std::sin(2 * M_PI * 1000 * static_cast<double>(frame) / 44100);
    EXPECT_NEAR(tone[2 * frame], expected, 1e-7);
    EXPECT_EQ(tone[2 * frame], tone[2 * frame + 1]);
  }
  EXPECT_EQ(captured("mic=silence"), std::vector<float>(2000, 0.0F));
  const std::vector<float> noise = captured("mic=noise:3");
  EXPECT_EQ(noise, captured("mic=noise:3"));
  EXPECT_NE(noise, captured("mic=noise"));
  EXPECT_EQ(captured("mic=noise"), captured("mic=noise:0"));
  const auto [least, most] = std::ranges::minmax(noise);
  EXPECT_TRUE(least >= -1 && least < -0.99 && most < 1 && most > 0.99);
}

TEST(SimulatedDevice, TheSpeakersFileHoldsEverySliceThatRan) {
  const test::TemporaryFolder folder;
  test::writeSound(folder.file("mic.wav"), {.rate = 48000, .channels = 1, .samples = std::vector<float>(1003)});
  const std::string speaker = folder.file("out.wav");
  for (const char* slice : {"64", "441", "8192"}) {
    Rig rig("pace=fast,mic=" + folder.file("mic.wav") + ",speaker=" + speaker + ",slice=" + slice);
    rig.playRamp();
    rig.run();
    const test::Sound played = test::readSound(speaker);
    EXPECT_EQ(played.rate, 48000);
    EXPECT_EQ(played.channels, 2);
    ASSERT_EQ(played.frames(), 1003U) << slice << rig.log;
    for (std::size_t frame = 0; frame < 1003; ++frame) {
      ASSERT_EQ(played.samples[2 * frame], static_cast<float>(frame) / 4096);
      ASSERT_EQ(played.samples[2 * frame + 1], static_cast<float>(frame) / 4096 + 100);
    }
  }
}

TEST(SimulatedDevice, TheLoopHearsTheSpeakerOneSliceLater) {
  Rig rig("pace=fast,mic=loop,inputs=2,slice=100");
  rig.host.report->endAfterFrames(1000);
  rig.playRamp();
  const std::vector<float> captured = rig.capture(2);
  ASSERT_EQ(captured.size(), 2000U);
  for (std::size_t frame = 0; frame < 1000; ++frame) {
    ASSERT_EQ(captured[2 * frame], frame < 100 ? 0 : static_cast<float>(frame - 100) / 4096) << frame;
    ASSERT_EQ(captured[2 * frame + 1], frame < 100 ? 0 : static_cast<float>(frame - 100) / 4096 + 100) << frame;
  }
}

TEST(SimulatedDevice, AFrameLimitEndsWithAWholeSliceAndGoesOnInSilence) {
  const test::TemporaryFolder folder;
  test::writeSound(folder.file("mic.wav"), {.rate = 48000, .channels = 1, .samples = std::vector<float>(150, 1.0F)});
  Rig rig("pace=fast,slice=100,mic=" + folder.file("mic.wav"));
  rig.host.report->endAfterFrames(301);
  const std::vector<float> captured = rig.capture(1);
  ASSERT_EQ(captured.size(), 400U);
  EXPECT_EQ(captured[149], 1.0F);
  EXPECT_EQ(captured[150], 0.0F);
  EXPECT_EQ(rig.host.report->deviceEnd(), platform::DeviceEnd::frameLimit);
}

TEST(SimulatedDevice, StartAgainContinuesTheDeviceAndDoesNotDrift) {
  Rig rig("pace=fast,rate=44100,slice=441");
  rig.wrapper->setOutputProvider([](auto&, auto&, auto, auto, auto&) { return status::success; });
  const auto& clock = rig.host.scheduler->clock();
  const auto waiter = rig.host.scheduler->makeWaiter();
  for (int start = 1; start <= 3; ++start) {
    ASSERT_EQ(rig.units.start(rig.unit), 0);
    const auto before = clock.now();
    EXPECT_FALSE(waiter->wait(3600s + 1ns));  // A nanosecond more, for the slice that is due with the last second.
    EXPECT_EQ(clock.now() - before, 3600s + 1ns);
    ASSERT_EQ(rig.units.stop(rig.unit), 0);
    EXPECT_FALSE(waiter->wait(1s)) << "time goes on without the device";
    EXPECT_EQ(rig.host.report->runCount().frames, static_cast<std::uint64_t>(start) * 3600 * 44100);
  }
}

TEST(SimulatedDevice, WrongOptionsAreRefusedByName) {
  const test::TemporaryFolder folder;
  test::writeSound(folder.file("mic.wav"), {.rate = 44100, .channels = 1, .samples = std::vector<float>(8)});
  const std::string file = folder.file("mic.wav");
  const std::vector<std::pair<std::string, std::string>> cases{
      {"colour=red", "unknown key \"colour\"; the keys are mic, speaker, rate, inputs, outputs, slice, pace"},
      {"rate", "\"rate\" needs a value"},
      {"rate=", "rate=: a whole number from 0 to 768000"},
      {"rate=48000.5", "rate=48000.5: a whole number"},
      {"rate=768001", "rate=768001: a whole number from 0 to 768000"},
      {"inputs=65", "inputs=65: a whole number from 0 to 64"},
      {"outputs=-1", "outputs=-1: a whole number from 0 to 64"},
      {"slice=0", "slice=0: a whole number from 1 to 8192"},
      {"slice=8193", "slice=8193"},
      {"pace=slow", "pace=slow: the pace is real or fast"},
      {"rate=1,rate=2", "\"rate\" is given twice"},
      {"rate=1,", "nothing behind the last comma"},
      {",rate=1", "unknown key \"\""},
      {"mic=", "mic= has no value"},
      {"mic=/no/such/file.wav", "mic=/no/such/file.wav: \"/no/such/file.wav\": No such file"},
      {"mic=" + folder.path().string(), "not a regular file"},
      {"mic=/dev/null", "not a regular file"},
      {"mic=tone:", "the frequency in hertz is a number from 0 to 384000"},
      {"mic=tone:nan", "the frequency in hertz"},
      {"mic=tone:440:2", "the amplitude is a number from 0 to 1"},
      {"mic=noise:x", "the seed is a whole number"},
      {"rate=48000,mic=" + file, "rate=48000: the microphone's file has 44100"},
      {"inputs=2,mic=" + file, "inputs=2: the microphone's file has 1"},
      {"outputs=0,speaker=x.wav", "a device with outputs=0 has no speaker"},
  };
  for (const auto& [options, reason] : cases) {
    try {
      platform::makeSimulatedHost(options);
      ADD_FAILURE() << options << " was taken";
    } catch (const platform::PlatformException& exception) {
      EXPECT_THAT(exception.reason(), HasSubstr(reason));
    }
  }
  EXPECT_NO_THROW(platform::makeSimulatedHost("rate=44100,inputs=1,mic=" + file));
}

TEST(SimulatedDevice, ASpeakerThatCannotBeWrittenRefusesTheStartAndHarmsNothing) {
  const test::TemporaryFolder folder;
  Rig rig("pace=fast,speaker=" + folder.file("missing/out.wav"));
  rig.wrapper->setOutputProvider([](auto&, auto&, auto, auto, auto&) { return status::success; });
  EXPECT_EQ(rig.units.start(rig.unit), status::notFound);
  EXPECT_THAT(rig.log, HasSubstr("The speaker's file cannot be written: \"" + folder.file("missing/out.wav")));
  EXPECT_FALSE(rig.units.isRunning(rig.unit));
}

TEST(IoUnit, RefusesWhatItCannotDo) {
  Rig rig("rate=48000,inputs=0,outputs=2,pace=fast");
  platform::UnitBus& clientInput = rig.wrapper->outputBus(1);
  platform::UnitBus& clientOutput = rig.wrapper->inputBus(0);
  const auto reason = [](platform::UnitBus& bus, const StreamFormat& format) {
    const auto error = bus.setFormat(format);
    return error ? error->localizedDescription() : "";
  };
  EXPECT_EQ(reason(clientOutput, StreamFormat::standard(44100, 3)), "");
  EXPECT_EQ(reason(clientOutput, StreamFormat::standard(48000, 1)), "");
  EXPECT_EQ(clientOutput.format(), StreamFormat::standard(48000, 1));
  EXPECT_THAT(reason(clientInput, StreamFormat::standard(48000, 0)), HasSubstr("0 channels; a unit takes 1 to 64"));
  EXPECT_THAT(reason(clientInput, StreamFormat::standard(48000, 65)), HasSubstr("65 channels"));
  EXPECT_THAT(reason(clientOutput, StreamFormat::standard(187, 2)),
              HasSubstr("187 Hz asked for; the hardware runs at"));
  EXPECT_NE(reason(clientOutput, StreamFormat::standard(std::nan(""), 2)), "");
  EXPECT_THAT(reason(clientOutput, StreamFormat::linearPcm(48000, 2, 16, platform::format_flag::signedInteger, true)),
              HasSubstr("32-bit float linear PCM"));
  EXPECT_THAT(reason(rig.wrapper->outputBus(0), StreamFormat::standard(48000, 2)), HasSubstr("hardware's format"));
  EXPECT_THAT(reason(rig.wrapper->inputBus(1), StreamFormat::standard(48000, 2)), HasSubstr("hardware's format"));
  EXPECT_THROW(rig.wrapper->inputBus(2), platform::PlatformException);
  EXPECT_EQ(clientOutput.format(), StreamFormat::standard(48000, 1)) << "a refused format changes nothing";

  rig.wrapper->setInputEnabled(true);
  EXPECT_EQ(rig.units.start(rig.unit), status::noDevice);
  EXPECT_THAT(rig.log, HasSubstr("the hardware has no input"));
  rig.wrapper->setInputEnabled(false);
  EXPECT_EQ(rig.units.start(rig.unit), 0);
  EXPECT_THAT(reason(clientOutput, StreamFormat::standard(48000, 2)), HasSubstr("stop it before"));
  EXPECT_EQ(rig.units.start(static_cast<UnitInstance>(99)), status::badParameter);

  UnitInstance other = UnitInstance::none;
  EXPECT_EQ(rig.units.createInstance(platform::UnitComponent::none, other), status::badParameter);
  EXPECT_EQ(rig.units.findComponent({.subType = 0x78797A77}), platform::UnitComponent::none);
  ASSERT_EQ(rig.units.createInstance(rig.units.findComponent({}), other), 0);
  EXPECT_EQ(rig.units.start(other), status::wrongState) << "not initialised";
  rig.units.dispose(other);
}

TEST(IoUnit, RenderWorksInsideItsOwnSliceOnly) {
  Rig rig("pace=fast,inputs=2");
  RenderBufferList empty(0);
  RenderActionFlags flags = 0;
  const auto render = rig.wrapper->renderOperation();
  EXPECT_EQ(render(flags, {}, 16, 1, empty, nullptr), status::wrongState);
  std::vector<platform::Status> seen;
  seen.reserve(100);
  rig.wrapper->setInputEnabled(true);
  rig.wrapper->setInputHandler([&](RenderActionFlags& theirs, const RenderTimeStamp& time, std::uint32_t frames, int) {
    struct {
      RenderBufferList header{2};
      platform::RenderBuffer entries[2]{{1, 4, nullptr}, {1, 4, nullptr}};
    } list;
    float tooSmall[1];
    if (!seen.empty()) return;
    seen.push_back(render(theirs, time, frames, 0, list.header, nullptr));
    seen.push_back(render(theirs, time, frames + 1, 1, list.header, nullptr));
    seen.push_back(render(theirs, time, frames, 1, empty, nullptr));
    list.entries[0].data = tooSmall;
    seen.push_back(render(theirs, time, frames, 1, list.header, nullptr));
    list.entries[0] = {2, 4, nullptr};
    seen.push_back(render(theirs, time, frames, 1, list.header, nullptr));
  });
  rig.host.report->endAfterFrames(1);
  rig.run();
  EXPECT_EQ(seen, std::vector<platform::Status>(5, status::badParameter));
  rig.units.dispose(rig.unit);
  EXPECT_EQ(render(flags, {}, 16, 1, empty, nullptr), status::wrongState);
}

#if ORVANE_REAL_TIME_CHECKS

TEST(RealTimeRulesDeathTest, EachBrokenRuleEndsTheProcessByName) {
  const std::vector<std::pair<std::string, std::function<void()>>> breaches{
      {"malloc", [] { [[maybe_unused]] void* volatile memory = std::malloc(1); }},
      {"free",
       [] {
         void* volatile memory = nullptr;
         {
           const platform::RealTimeExemption allowed;
           memory = std::malloc(1);
         }
         std::free(memory);
       }},
      {"pthread_mutex_lock",
       [] {
         std::mutex mutex;
         mutex.lock();
       }},
      {"fopen", [] { std::fopen("/dev/null", "r"); }},
      {"throw",
       [] {
         try {
           throw 1;
         } catch (int) {
         }
       }},
  };
  for (const auto& [call, breach] : breaches) {
    EXPECT_DEATH(
        {
          const platform::RealTimeSection section;
          breach();
        },
        "the device callback called " + call)
        << call;
  }
}

#endif

}  // namespace
}  // namespace orvane
