#include "iounit/OVTestTone.h"

#include <typeinfo>

#include "tests/support/ReasonOf.h"
#include "tests/support/ScriptedUnit.h"

namespace orvane::test {
namespace {

using namespace platform;
using testing::InSequence;
using testing::Return;

/// What an oscillator gives from the beginning of its period on.
std::vector<float> sine(double frequency, float amplitude, double rate, std::size_t frames) {
  SineWaveGenerator generator;
  generator.mFrequency = static_cast<float>(frequency);
  generator.mAmplitude = amplitude;
  generator.SetSampleRate(static_cast<float>(rate));
  std::vector<float> samples(frames);
  generator.Render(samples.data(), static_cast<std::uint32_t>(frames), 1, 1);
  return samples;
}

class OVTestToneTest : public testing::Test {
 protected:
  void setHardwareRate(double rate) { scripted.setHardware({}, StreamFormat::standard(rate, 6)); }

  ScriptedUnit scripted;
  ScriptedUnitService& service = *scripted.service;
  std::shared_ptr<OVTestTone> tone = OVTestTone::init();
};

TEST_F(OVTestToneTest, DefaultsAreMiddleCAndItsFifthAtTheHardwareRate) {
  setHardwareRate(44100);
  EXPECT_CALL(*scripted.wrapper, setInputEnabled).Times(0);
  EXPECT_CALL(*scripted.wrapper, setOutputEnabled).Times(0);
  tone->start();
  const auto [left, right] = scripted.fill(100);
  EXPECT_EQ(left, sine(261, 0.25F, 44100, 100));
  EXPECT_EQ(right, sine(391.5, 0.25F, 44100, 100));
}

TEST_F(OVTestToneTest, PlaysWhatItsPropertiesSayFromStartToStart) {
  const struct {
    double frequency;
    float amplitude;
    bool monotone;
    double clientRate;
    double hardwareRate;
    double right;
    double rate;
  } rows[] = {
      {261.0, 0.5F, true, 0.0, 96000.0, 261.0, 96000.0},
      {1000.1, 1.0F, false, 48000.0, 44100.0, 1500.15, 48000.0},
      {440.0, 0.125F, true, 8000.5, 48000.0, 440.0, 8000.5},
  };
  for (const auto& row : rows) {
    setHardwareRate(row.hardwareRate);
    tone->setFrequency(row.frequency);
    tone->setAmplitude(row.amplitude);
    tone->setMonotone(row.monotone);
    tone->setClientSampleRate(row.clientRate);
    InSequence order;
    EXPECT_CALL(service, initialize(ScriptedUnit::instance));
    EXPECT_CALL(scripted.outputBus[0], format);
    EXPECT_CALL(scripted.inputBus[0], setFormat(StreamFormat::standard(row.rate, 2)));
    EXPECT_CALL(*scripted.wrapper, setOutputProvider);
    EXPECT_CALL(service, start(ScriptedUnit::instance));
    tone->start();
    tone->setFrequency(99);
    auto [left, right] = scripted.fill(256);
    const auto [moreLeft, moreRight] = scripted.fill(100);
    left.insert(left.end(), moreLeft.begin(), moreLeft.end());
    right.insert(right.end(), moreRight.begin(), moreRight.end());
    EXPECT_EQ(left, sine(row.frequency, row.amplitude, row.rate, 356));
    EXPECT_EQ(right, sine(row.right, row.amplitude, row.rate, 356));
  }
  EXPECT_EQ(scripted.flags, 0x50U);
}

TEST_F(OVTestToneTest, LeavesTheOscillatorsAloneUntilARunningUnitHasStopped) {
  setHardwareRate(48000);
  tone->start();
  tone->setFrequency(1000);
  EXPECT_CALL(service, isRunning).WillOnce(Return(true));
  InSequence order;
  EXPECT_CALL(service, stop).WillOnce([&](auto) {
    EXPECT_EQ(scripted.fill(64)[0], sine(261, 0.25F, 48000, 64));
    return status::success;
  });
  EXPECT_CALL(service, initialize);
  tone->start();
  EXPECT_EQ(scripted.fill(64)[0], sine(1000, 0.25F, 48000, 64));
}

TEST_F(OVTestToneTest, FailedStartDoesNotStartTheUnit) {
  const std::pair<std::string, std::function<void()>> rows[] = {
      {"Hardware sample rate is 0.0 after activating session and initializing AU", [&] { setHardwareRate(0); }},
      {"UnitService::initialize failed: -10", [&] { EXPECT_CALL(service, initialize).WillOnce(Return(-10)); }},
      {"setOutputClientFormat failed: no such rate",
       [&] {
         EXPECT_CALL(scripted.inputBus[0], setFormat)
             .WillOnce(Return(PlatformError(-8, "UnitBus::setFormat", "no such rate")));
       }},
      {"UnitService::stop failed: -13",
       [&] {
         EXPECT_CALL(service, isRunning).WillOnce(Return(true));
         EXPECT_CALL(service, stop).WillOnce(Return(-13));
       }},
  };
  tone->setClientSampleRate(16000);
  for (const auto& [reason, script] : rows) {
    setHardwareRate(48000);
    EXPECT_CALL(service, start).Times(0);
    EXPECT_CALL(*scripted.wrapper, setOutputProvider).Times(0);
    script();
    EXPECT_EQ(reasonOf([&] { tone->start(); }), reason);
    testing::Mock::VerifyAndClearExpectations(&service);
    testing::Mock::VerifyAndClearExpectations(&scripted.inputBus[0]);
  }
}

TEST_F(OVTestToneTest, GeneratorsOutliveTheUnit) {
  setHardwareRate(48000);
  tone->start();
  OVIOUnit& played = *tone;
  EXPECT_CALL(service, dispose).WillOnce([&](auto) {
    EXPECT_TRUE(typeid(played) == typeid(OVTestTone)) << "the oscillators are already gone";
    EXPECT_EQ(scripted.fill(64)[0], sine(261, 0.25F, 48000, 64));
  });
  tone.reset();
}

}  // namespace
}  // namespace orvane::test
