// SPDX-License-Identifier: MIT
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <thread>

#include "platform/DeviceReport.h"
#include "platform/GraphEngine.h"
#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/RunControl.h"
#include "platform/SystemSoundService.h"
#include "platform/Waiter.h"
#include "session/OVTException.h"
#include "sound/OVSystemSound.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace platform;

/// A service that completes sounds when the test says so.
class ScriptedSounds final : public SystemSoundService {
 public:
  void play(std::uint32_t identifier, const SystemSoundOptions&, std::function<void()> completion) override {
    played.push_back(identifier);
    std::thread([this, completion = std::move(completion)] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      hasCompleted = true;
      completion();
    }).detach();
  }
  bool waitUntilSilent(HostTime) override { return true; }
  Subscription onSilent(std::function<void()>) override { return {}; }
  std::vector<SystemSound> sounds() const override { return {}; }

  std::vector<std::uint32_t> played;
  std::atomic<bool> hasCompleted = false;
};

TEST(SystemSound, IsPlayedByTheLowHalfOfItsIdentifier) {
  const auto sounds = std::make_shared<ScriptedSounds>();
  Platform services = makeSimulatedHost();
  services.systemSounds = sounds;
  use(services);
  const auto sound = OVSystemSound::initWithID(0x1234'5678'9ABC'DEF0);
  EXPECT_EQ(sound->ssid(), 0x1234'5678'9ABC'DEF0U);
  sound->playAndWait();
  EXPECT_TRUE(sounds->hasCompleted);
  sounds->hasCompleted = false;
  sound->play();
  EXPECT_FALSE(sounds->hasCompleted) << "play returns before the end";
  EXPECT_EQ(sounds->played, (std::vector<std::uint32_t>{0x9ABC'DEF0, 0x9ABC'DEF0}));
  while (!sounds->hasCompleted) std::this_thread::yield();

  services.systemSounds = nullptr;
  use(services);
  EXPECT_THROW(OVSystemSound::initWithID(1)->play(), OVTException);
  use(makeSimulatedHost());
}

/// System sounds on a simulated device in simulated time, without a sound theme unless the test makes one.
class SystemSounds : public testing::Test {
 protected:
  SystemSounds() { setenv("XDG_DATA_DIRS", mFolder.path().c_str(), 1); }

  SystemSoundService& simulate(const std::string& settings = "") {
    use(makeSimulatedHost("pace=fast,speaker=" + mFile + settings));
    return *current().systemSounds;
  }
  /// Destroys the host, which completes the speaker's file, and returns the left channel from the first sound to the
  /// last.
  std::vector<float> heard() {
    use(makeSimulatedHost());
    std::vector<float> left;
    const Sound sound = readSound(mFile);
    const auto channels = static_cast<std::size_t>(sound.channels);
    for (std::size_t frame = 0; frame < sound.frames(); ++frame) left.push_back(sound.samples[frame * channels]);
    while (!left.empty() && left.back() == 0) left.pop_back();
    return left;
  }
  void makeTheme(const std::string& name, const Sound& sound) const {
    const std::string folder = mFolder.file("sounds/freedesktop/stereo");
    std::filesystem::create_directories(folder);
    writeSound(folder + "/" + name + ".wav", sound);
  }

  const TemporaryFolder mFolder;
  const std::string mFile = mFolder.file("heard.wav");
};

TEST_F(SystemSounds, PlayTheirNotesOneAfterTheOther) {
  simulate();
  OVSystemSound::initWithID(2)->playAndWait();  // E5 and A5.
  OVSystemSound::initWithID(2)->playAndWait();
  const std::vector<float> samples = heard();
  constexpr std::size_t note = 7200;
  const auto expected = [](double hertz, std::size_t frame) {
    const double seconds = static_cast<double>(frame) / 48000;
    return 0.25 * std::exp(-seconds / 0.04) * std::sin(2 * std::numbers::pi * hertz * seconds);
  };
  // A sound begins with a slice; the second one follows after the slice behind the first.
  const std::size_t second = (2 * note + 255) / 256 * 256 + 256;
  ASSERT_GE(samples.size(), second + note);
  for (std::size_t frame = 0; frame < note; ++frame) {
    ASSERT_NEAR(samples[frame], expected(659.26F, frame), 1e-6) << frame;
    ASSERT_NEAR(samples[note + frame], expected(880, frame), 1e-6) << frame;
    ASSERT_NEAR(samples[second + frame], expected(659.26F, frame), 1e-6) << frame;
  }
}

TEST_F(SystemSounds, ComeFromTheThemeAndAreMixed) {
  makeTheme("bell", {.rate = 48000, .channels = 2, .samples = std::vector<float>(2000, 0.25F)});
  makeTheme("message", {.rate = 24000, .channels = 1, .samples = std::vector<float>(24000, 0.5F)});
  SystemSoundService& sounds = simulate();
  sounds.play(1, {}, nullptr);
  sounds.play(9, {}, nullptr);
  EXPECT_TRUE(sounds.waitUntilSilent(Waiter::forever));
  const std::vector<float> samples = heard();
  EXPECT_NEAR(samples[500], 0.75, 0.01);
  EXPECT_NEAR(samples[30000], 0.5, 0.01) << "twice as many frames at the rate of the hardware";
  EXPECT_NEAR(static_cast<double>(samples.size()), 48000, 2);
}

TEST_F(SystemSounds, AreSynthesisedInPlaceOfAFileThatIsCutOrTooLong) {
  std::string log;
  ScriptedDevice device;
  device.services.log->setSink([&log](LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
  makeTheme("bell", {.rate = 1000, .channels = 1, .samples = std::vector<float>(30'001, 0.5F)});
  const std::string vorbis = mFolder.file("sounds/freedesktop/stereo/message.oga");
  writeSound(vorbis, {.rate = 48000, .channels = 1, .samples = std::vector<float>(96'000, 0.5F)},
             SF_FORMAT_OGG | SF_FORMAT_VORBIS);
  std::filesystem::resize_file(vorbis, std::filesystem::file_size(vorbis) - 1);
  for (const std::uint32_t sound : {1U, 9U}) device.services.systemSounds->play(sound, {}, nullptr);
  EXPECT_THAT(log, HasSubstr("a system sound is synthesised, because \"" + mFolder.file("sounds") +
                             "/freedesktop/stereo/bell.wav\" is longer than 30 s\n"));
  EXPECT_THAT(log, HasSubstr("message.oga\" is cut short: it lacks its last page\n"));
}

TEST_F(SystemSounds, CompleteOnce) {
  makeTheme("bell", {.rate = 48000, .channels = 1, .samples = std::vector<float>(480, 0.01F)});
  SystemSoundService& sounds = simulate();
  int completions = 0, silences = 0;
  const auto count = [&completions] { ++completions; };
  const auto silent = sounds.onSilent([&silences] { ++silences; });
  constexpr int many = 100;  // More than there are voices.
  for (int sound = 0; sound < many; ++sound) sounds.play(1, {}, count);
  sounds.play(0, {}, count);
  sounds.play(4711, {}, count);
  EXPECT_EQ(completions, 0) << "play does not wait";
  EXPECT_TRUE(sounds.waitUntilSilent(Waiter::forever));
  EXPECT_EQ(completions, many + 2);
  EXPECT_TRUE(sounds.waitUntilSilent(Waiter::forever));
  current().scheduler->makeWaiter()->wait(1ms);
  EXPECT_EQ(silences, 1);
  const std::vector<float> samples = heard();
  EXPECT_NEAR(samples[0], 0.32, 1e-5) << "32 at a time";
  EXPECT_EQ(samples.size(), 3 * 768U + 480) << "the others in turn, a slice behind the end of the ones before";
}

TEST_F(SystemSounds, WaitInALimitedNumber) {
  makeTheme("bell", {.rate = 48000, .channels = 1, .samples = std::vector<float>(48, 0.01F)});
  SystemSoundService& sounds = simulate();
  int completions = 0;
  const auto play = [&](int count) {
    for (; count > 0; --count) sounds.play(1, {}, [&completions] { ++completions; });
    return current().deviceReport->lastRefusal().value_or(Failure{}).reason;
  };
  EXPECT_EQ(play(32 + 1000), "");
  EXPECT_EQ(play(1), "system sound 1 is not played: 1000 sounds are waiting already");
  EXPECT_TRUE(sounds.waitUntilSilent(Waiter::forever));
  EXPECT_EQ(completions, 1033);
}

/// A sound stays a client of the hub when it has ended. This must not keep a failed run from being started again, nor
/// let the sound go on in the new run.
TEST_F(SystemSounds, EndWithTheirRunAndLetTheNextOneBegin) {
  const auto lose = [](ScriptedDevice& device) {
    device.state->callback->deviceEnded(DeviceEnd::failed, Failure{-9, "gone"});
  };
  const std::function<void(ScriptedDevice&)> ends[] = {lose, [](ScriptedDevice&) {},
                                                       [](ScriptedDevice& device) { device.slice(0); }};
  for (const auto& end : ends) {
    int completions = 0;
    ScriptedDevice device;
    const auto settle = [&](HostTime time = 5ms) { device.services.scheduler->makeWaiter()->wait(time); };
    const auto played = [&] {
      device.slice(256);
      return std::ranges::any_of(device.state->played, [](float each) { return each != 0; });
    };
    SystemSoundService& sounds = *device.services.systemSounds;
    const auto play = [&] { sounds.play(1, {}, [&completions] { ++completions; }); };
    const auto engine = device.services.graphs->makeEngine();
    EXPECT_FALSE(engine->start());
    play();
    EXPECT_TRUE(played());
    end(device);
    settle(1s);  // Without slices the device has stalled.
    EXPECT_EQ(completions, 1);
    play();
    settle();
    EXPECT_EQ(completions, 2) << "refused, because the engine holds the failed run";
    engine->stop();
    EXPECT_FALSE(engine->start());
    EXPECT_FALSE(played());
    play();
    EXPECT_TRUE(played() && played());
    EXPECT_EQ(device.services.deviceReport->deviceEnd(), DeviceEnd::none);
    // The end and the new start come before anybody hears of the end.
    lose(device);
    engine->stop();
    EXPECT_FALSE(engine->start());
    EXPECT_FALSE(played());
    play();
    settle();
    EXPECT_TRUE(played());
    EXPECT_EQ(completions, 3);
    // Without another user of the device, the sound itself starts it again.
    lose(device);
    engine->stop();
    settle();
    device.loseDevice();
    play();
    settle();
    EXPECT_EQ(completions, 5);
    EXPECT_EQ(device.services.deviceReport->lastRefusal()->reason, "system sound 1 is not played: gone");
    device.state->onStart = nullptr;
    play();
    EXPECT_TRUE(played());
    EXPECT_EQ(completions, 5);
  }
}

TEST_F(SystemSounds, SayWhyTheyAreCutShort) {
  int completions = 0;
  std::vector<std::string> log;
  ScriptedDevice device;
  device.services.log->setSink([&log](LogLevel, std::string_view line) { log.emplace_back(line); });
  const auto play = [&] { device.services.systemSounds->play(1, {}, [&completions] { ++completions; }); };
  for (int sound = 0; sound < 33; ++sound) play();
  device.slice(256);
  device.change({48000, 1, 0, 256});
  EXPECT_TRUE(device.services.systemSounds->waitUntilSilent(Waiter::forever));
  EXPECT_EQ(completions, 33);
  ASSERT_EQ(log.size(), 33U);
  EXPECT_EQ(log[0], "SystemSoundService::play failed: system sound 1 is cut short: the hardware has no output");
  EXPECT_EQ(log[32], "SystemSoundService::play failed: system sound 1 is not played: the hardware has no output");
  EXPECT_EQ(device.services.deviceReport->lastRefusal()->status, status::noDevice);
}

/// A sound begins while the device, which has ended, is started again for somebody else.
TEST_F(SystemSounds, CompleteIfARestartFails) {
  int completions = 0;
  ScriptedDevice device;
  SystemSoundService& sounds = *device.services.systemSounds;
  const auto play = [&] { sounds.play(1, {}, [&completions] { ++completions; }); };
  const auto engine = device.services.graphs->makeEngine();
  EXPECT_FALSE(engine->start());
  play();
  device.state->callback->deviceEnded(DeviceEnd::failed, Failure{-9, "gone"});
  engine->stop();
  EXPECT_TRUE(sounds.waitUntilSilent(1s));
  device.state->onStart = [&] {
    std::thread(play).join();
    return Failure{-9, "gone"};
  };
  EXPECT_TRUE(engine->start());
  EXPECT_TRUE(sounds.waitUntilSilent(1s));
  EXPECT_EQ(completions, 2);
}

/// A sound is refused before the notice of the end has come, because the engine holds the failed run.
TEST_F(SystemSounds, CompleteIfAnotherOneIsRefused) {
  int completions = 0;
  std::string log;
  ScriptedDevice device;
  device.services.log->setSink([&log](LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
  const auto play = [&] { device.services.systemSounds->play(1, {}, [&completions] { ++completions; }); };
  const auto engine = device.services.graphs->makeEngine();
  EXPECT_FALSE(engine->start());
  play();
  device.state->callback->deviceEnded(DeviceEnd::failed, Failure{-9, "gone"});
  play();
  engine->stop();
  EXPECT_FALSE(engine->start());
  EXPECT_TRUE(device.services.systemSounds->waitUntilSilent(1s));
  EXPECT_EQ(completions, 2);
  EXPECT_EQ(log,
            "system sounds were cut short: the audio device stopped\n"
            "SystemSoundService::play failed: system sound 1 is not played: gone\n");
}

TEST_F(SystemSounds, CompleteWhenTheLastFrameHasBeenHeard) {
  makeTheme("bell", {.rate = 48000, .channels = 1, .samples = std::vector<float>(480, 0.5F)});
  int completions = 0;
  ScriptedDevice device;
  device.state->latency.output = 600;
  device.services.systemSounds->play(1, {}, [&completions] { ++completions; });
  int slices = 0;
  for (; completions == 0 && slices < 99; ++slices) {
    device.slice(256);
    device.services.scheduler->makeWaiter()->wait(1ms);
  }
  EXPECT_EQ(slices, 5) << "the first one to begin behind 480 + 600 frames would be the sixth";
}

TEST_F(SystemSounds, WithoutAnOutputCompleteAtOnce) {
  use(makeSimulatedHost("pace=fast,outputs=0"));
  OVSystemSound::initWithID(1)->playAndWait();
  EXPECT_EQ(current().deviceReport->runCount().frames, 0U);
  use(makeSimulatedHost());
}

TEST_F(SystemSounds, CompleteIfTheRunEndsBeforeTheyBegin) {
  std::atomic<int> completions = 0;
  ScriptedDevice device(host::HostContext::Pace::real);
  device.state->onStart = [state = device.state.get()] {
    state->callback->deviceEnded(DeviceEnd::failed, Failure{-9, "gone"});
    std::this_thread::sleep_for(50ms);  // The notice of the end finds no sound.
    return std::nullopt;
  };
  device.services.systemSounds->play(1, {}, [&completions] { ++completions; });
  EXPECT_TRUE(device.services.systemSounds->waitUntilSilent(10s));
  EXPECT_EQ(completions, 1);
}

/// Every run ends with its first slice, at any time between the start of the device and that of a sound.
TEST_F(SystemSounds, CompleteWheneverTheRunEnds) {
  use(makeSimulatedHost("slice=16"));
  current().runControl->endAfterFrames(1);
  std::atomic<int> completions = 0;
  std::vector<std::jthread> threads;
  for (int index = 0; index < 3; ++index) {
    threads.emplace_back([&completions] {
      for (int sound = 0; sound < 100; ++sound) current().systemSounds->play(1, {}, [&completions] { ++completions; });
    });
  }
  threads.clear();
  EXPECT_TRUE(current().systemSounds->waitUntilSilent(10s));
  EXPECT_EQ(completions, 300);
  use(makeSimulatedHost());
}

TEST_F(SystemSounds, PlayFromSeveralThreadsInRealTime) {
  makeTheme("bell", {.rate = 48000, .channels = 2, .samples = std::vector<float>(960, 0.01F)});
  use(makeSimulatedHost("slice=64"));
  std::atomic<int> completions = 0;
  std::vector<std::jthread> threads;
  for (int index = 0; index < 3; ++index) {
    threads.emplace_back([&completions] {
      for (int sound = 0; sound < 5; ++sound) {
        current().systemSounds->play(1, {}, [&completions] { ++completions; });
        OVSystemSound::initWithID(1)->playAndWait();
      }
    });
  }
  threads.clear();
  EXPECT_TRUE(current().systemSounds->waitUntilSilent(Waiter::forever));
  EXPECT_EQ(completions, 15);
  current().systemSounds->play(11, {}, [&completions] { ++completions; });
  current().systemSounds->play(4711, {}, [&completions] { ++completions; });
  use(makeSimulatedHost());  // Destroys the host while it plays.
  EXPECT_EQ(completions, 17);
}

}  // namespace
}  // namespace orvane::test
