#include "iounit/AOPlaythru.h"

#include "tests/support/ReasonOf.h"
#include "tests/support/ScriptedUnit.h"

namespace orvane::test {
namespace {

using namespace platform;
using testing::InSequence;
using testing::Return;

class AOPlaythruTest : public testing::Test {
 protected:
  ScriptedUnit scripted;
  ScriptedUnitService& units = *scripted.service;
  std::shared_ptr<AOPlaythru> playthru = AOPlaythru::init();
};

TEST_F(AOPlaythruTest, BothSidesTakeTheInputsRateAndTheFewerChannels) {
  const struct {
    StreamFormat input, output, client;
  } rows[] = {
      {StreamFormat::standard(48000, 1), StreamFormat::standard(48000, 2), StreamFormat::standard(48000, 1)},
      {StreamFormat::standard(48000, 2), StreamFormat::standard(44100, 1), StreamFormat::standard(48000, 1)},
      {StreamFormat::standard(44100, 8), StreamFormat::standard(96000, 6), StreamFormat::standard(44100, 6)},
  };
  for (const auto& row : rows) {
    playthru = AOPlaythru::init();
    scripted.setHardware(row.input, row.output);
    InSequence order;
    EXPECT_CALL(units, wrap);
    EXPECT_CALL(*scripted.wrapper, setInputEnabled(true));
    EXPECT_CALL(*scripted.wrapper, setOutputEnabled(true));
    EXPECT_CALL(units, initialize(ScriptedUnit::instance));
    EXPECT_CALL(scripted.inputBus[1], format);
    EXPECT_CALL(scripted.outputBus[0], format);
    EXPECT_CALL(scripted.outputBus[1], setFormat(row.client));
    EXPECT_CALL(scripted.inputBus[0], setFormat(row.client));
    EXPECT_CALL(*scripted.wrapper, renderOperation);
    EXPECT_CALL(*scripted.wrapper, setOutputProvider);
    EXPECT_CALL(units, start(ScriptedUnit::instance));
    playthru->start();
  }
}

TEST_F(AOPlaythruTest, AsksTheInputElementForWhatItIsToFill) {
  PX::BufferList list(2);
  RenderBufferList& asked = list.GetAudioBufferList();
  int renders = 0;
  Status answer = status::success;
  ON_CALL(*scripted.wrapper, renderOperation).WillByDefault([&]() -> RenderOperation {
    return [&](auto& flags, const auto& time, std::uint32_t frames, std::int32_t bus, auto& given, const auto* pull) {
      const bool passedOn = &flags == &scripted.flags && &time == &scripted.time && &given == &asked;
      if (passedOn && frames == 441 && bus == 1 && pull == nullptr) ++renders;
      return answer;
    };
  });
  playthru->start();
  int expected = 0;
  for (const std::int32_t bus : {0, 1, 7}) {
    for (const Status status : {0, -10, 12345}) {
      answer = status;
      EXPECT_EQ(scripted.outputProvider(scripted.flags, scripted.time, 441, bus, asked), status);
      EXPECT_EQ(renders, ++expected);
    }
  }
}

TEST_F(AOPlaythruTest, FailedStartDoesNotStartTheUnit) {
  const PlatformError refusal(-8, "UnitBus::setFormat", "no such rate");
  const std::pair<std::string, std::function<void()>> rows[] = {
      {"UnitService::initialize failed: -10", [&] { EXPECT_CALL(units, initialize).WillOnce(Return(-10)); }},
      {"setInputClientFormat failed: no such rate",
       [&] {
         EXPECT_CALL(scripted.outputBus[1], setFormat).WillOnce(Return(refusal));
         EXPECT_CALL(scripted.inputBus[0], setFormat).Times(0);
       }},
      {"setOutputClientFormat failed: no such rate",
       [&] { EXPECT_CALL(scripted.inputBus[0], setFormat).WillOnce(Return(refusal)); }},
      {"UnitService::stop failed: -13",
       [&] {
         EXPECT_CALL(units, isRunning).WillOnce(Return(true));
         EXPECT_CALL(units, stop).WillOnce(Return(-13));
         EXPECT_CALL(units, initialize).Times(0);
       }},
  };
  playthru->start();
  for (const auto& [reason, script] : rows) {
    EXPECT_CALL(units, start).Times(0);
    EXPECT_CALL(*scripted.wrapper, setOutputProvider).Times(0);
    script();
    EXPECT_EQ(reasonOf([&] { playthru->start(); }), reason);
    testing::Mock::VerifyAndClearExpectations(&units);
    testing::Mock::VerifyAndClearExpectations(scripted.wrapper.get());
    testing::Mock::VerifyAndClearExpectations(&scripted.outputBus[1]);
    testing::Mock::VerifyAndClearExpectations(&scripted.inputBus[0]);
  }
}

}  // namespace
}  // namespace orvane::test
