#include <gmock/gmock.h>
#include <stdio_ext.h>

#include <cmath>
#include <stdexcept>
#include <typeinfo>

#include "iounit/AOMeter.h"
#include "iounit/AOPlaythru.h"
#include "iounit/AORecord.h"
#include "iounit/MeterInputHandler.h"
#include "iounit/OVTestTone.h"
#include "platform/PlatformSession.h"
#include "session/OVSession.h"
#include "tests/support/ScriptedUnit.h"

namespace orvane::test {
namespace {

using namespace platform;
using testing::ElementsAre;
using testing::KilledBySignal;

struct ForeignObject : Object {
  std::string description() const override { return "<Foreign: 100%s>"; }
};

/// A session on an object of the test's.
struct BackedSession : OVSession {
  explicit BackedSession(std::shared_ptr<Object> backing) : OVSession(false), mBacking(std::move(backing)) {}
  std::shared_ptr<Object> session() const override { return mBacking; }
  const std::shared_ptr<Object> mBacking;
};

class OVIOUnitTest : public testing::Test {
 protected:
  ScriptedUnit host;
  std::shared_ptr<OVIOUnit> unit = OVIOUnit::init();
};

TEST_F(OVIOUnitTest, WhateverNeedsTheUnitMakesItOnce) {
  const StreamFormat format = StreamFormat::standard(96000, 3);
  const std::pair<std::function<void(OVIOUnit&)>, std::string> needs[] = {
      {&OVIOUnit::initializeAU, "UnitService::initialize"},
      {&OVIOUnit::start, "UnitService::start"},
      {&OVIOUnit::stop, "UnitService::stop"},
      {[](auto& u) { EXPECT_EQ(u.inputHardwareFormat().channelCount(), 2U); }, "InputHardwareFormat"},
      {[](auto& u) { EXPECT_EQ(u.outputHardwareFormat().channelCount(), 1U); }, "OutputHardwareFormat"},
      {[](auto& u) { EXPECT_EQ(u.inputClientFormat().channelCount(), 3U); }, "InputClientFormat"},
      {[](auto& u) { EXPECT_EQ(u.outputClientFormat().channelCount(), 4U); }, "OutputClientFormat"},
      {[&](auto& u) { u.setInputClientFormat(format); }, "setInputClientFormat 96000 Hz, 3"},
      {[&](auto& u) { u.setOutputClientFormat(format); }, "setOutputClientFormat 96000 Hz, 3"}};
  for (const auto& [need, call] : needs) {
    unit = OVIOUnit::init();
    host.takeCalls();
    need(*unit);
    need(*unit);
    EXPECT_THAT(host.takeCalls(), ElementsAre("find rioc", "create", "wrap", call, call));
  }
}

TEST_F(OVIOUnitTest, SubTypeIsFourBytesAndFrozenOnceTheUnitExists) {
  const std::tuple<std::optional<std::string>, std::string, std::vector<std::string>> rows[] = {
      {std::nullopt, "find rioc", {}},
      {"xyzw", "find xyzw", {}},
      {"\xC3\xA9\xC3\xBC", "find \xC3\xA9\xC3\xBC", {}},
      {"abc", "find rioc", {"invalid I/O unit subtype string: abc"}},
      {"ab%s\xC3", "find rioc", {"invalid I/O unit subtype string: ab%s\xC3"}}};
  for (const auto& [text, found, log] : rows) {
    unit = OVIOUnit::init();
    unit->setComponentSubType("to be replaced");
    unit->setComponentSubType(text);
    host.takeCalls();
    host.used.logged.clear();
    unit->audioUnit();
    EXPECT_EQ(host.takeCalls().front(), found);
    EXPECT_EQ(host.used.logged, log);
    unit->setComponentSubType("rioc");
    EXPECT_EQ(unit->componentSubType(), text);
    EXPECT_EQ(host.used.logged.back(), "Warning: ignoring attempt to set I/O unit sub-type after initialization");
  }
}

TEST_F(OVIOUnitTest, UnitThatWasNotMadeCanBeAskedForAgain) {
  const std::tuple<const char*, const char*, Status, std::string> rows[] = {
      {"xyzw", "find", -1, "I/O unit subtype 'xyzw' not found"},
      {"\xC3\xA9\xC3\xBC", "find", -1, "I/O unit subtype 0xc3a9c3bc not found"},
      {"rioc", "create", -12, "Failed to instantiate I/O unit: -12"},
      {"rioc", "create", 0, "Failed to instantiate I/O unit: 0"}};
  for (const auto& [subType, call, status, reason] : rows) {
    unit = OVIOUnit::init();
    unit->setComponentSubType(subType);
    host.isInstanceGiven = status != 0;
    host.answers[call] = [status = status] { return status; };
    EXPECT_EQ(reasonOf([&] { unit->audioUnit(); }), reason);
    host.answers.clear();
    host.isInstanceGiven = true;
    EXPECT_NE(unit->audioUnit(), UnitInstance::none);
  }
}

TEST_F(OVIOUnitTest, UnitThatCannotBeWrappedStaysAndIsDisposed) {
  host.answers["wrap"] = [] { return -1; };
  for (auto tool : {OVIOUnit::init(), std::shared_ptr<OVIOUnit>(AOMeter::init())}) {
    EXPECT_EQ(reasonOf([&] { tool->wrapperUnit(); }), "Failed to wrap UnitInstance 3 in UnitWrapper");
    EXPECT_EQ(tool->wrapperUnit(), nullptr);
    EXPECT_EQ(reasonOf([&] { tool->inputHardwareFormat(); }), "UnitInstance 3 has no UnitWrapper");
  }
  EXPECT_THAT(host.takeCalls(), ElementsAre("find rioc", "create", "wrap", "find rioc", "create", "wrap",
                                            "UnitService::dispose", "UnitService::dispose"));
}

TEST_F(OVIOUnitTest, BindsThePlatformSessionAndKeepsTheOldOneWhenRefused) {
  EXPECT_EQ(unit->session(), nullptr);
  const auto session = OVSession::init();
  const std::string identifier = std::to_string(dynamic_cast<PlatformSession&>(*session->session()).identifier());
  unit->setSession(session);
  EXPECT_EQ(host.takeCalls().back(), "setSession " + identifier);

  host.answers["setSession"] = [] { return status::unknownSession; };
  const std::string unsupported = "unsupported session implementation type ";
  const std::pair<std::shared_ptr<OVSession>, std::string> rows[] = {
      {std::make_shared<BackedSession>(session->session()),
       "UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: " + identifier},
      {nullptr, unsupported + "(null)"},
      {std::make_shared<BackedSession>(nullptr), unsupported + "(null)"},
      {std::make_shared<BackedSession>(std::make_shared<ForeignObject>()), unsupported + "<Foreign: 100%s>"}};
  for (const auto& [refused, why] : rows) {
    EXPECT_EQ(reasonOf([&, &refused = refused] { unit->setSession(refused); }), "setSession failed -- " + why);
    EXPECT_EQ(unit->session(), session);
  }
}

TEST_F(OVIOUnitTest, EndsOnTheHostThatMadeItAndGoesOnAfterAFailure) {
  unit->initializeAU();
  host.takeCalls();
  UsedPlatform others(Platform{});
  host.answers["UnitWrapper::invalidate"] = []() -> Status { throw std::runtime_error("gone"); };
  host.answers["UnitService::dispose"] = []() -> Status { throw PlatformException("HostException", "lost"); };
  unit.reset();
  EXPECT_THAT(host.takeCalls(), ElementsAre("UnitWrapper::invalidate", "UnitService::dispose"));
  EXPECT_THAT(others.logged, ElementsAre("UnitWrapper::invalidate failed: gone", "UnitService::dispose failed: lost"));
}

TEST(Tools, StartInOrderGoNoFurtherThanWhatIsRefusedAndEndInOrder) {
  using Calls = std::vector<std::string>;
  const struct {
    std::function<std::shared_ptr<OVIOUnit>()> make;
    Calls made;   ///< What the first start begins with.
    Calls again;  ///< What a start of the running unit does.
  } tools[] = {
      {&AOMeter::init,
       {"wrap", "setInputEnabled yes", "setOutputEnabled no", "UnitService::initialize"},
       {"UnitService::stop", "UnitService::initialize", "InputHardwareFormat", "setInputHandler none",
        "setInputClientFormat 48000 Hz, 2", "setInputHandler", "UnitService::start"}},
      {[] { return AORecord::initWithFilePath("a b.wav"); },
       {"wrap", "setInputEnabled yes", "setOutputEnabled no", "UnitService::initialize"},
       {"UnitService::stop", "UnitService::initialize", "InputHardwareFormat", "setInputClientFormat 48000 Hz, 2",
        "ConvertingFile::create a b.wav: 16 bits, 48000 Hz, 2", "ConvertingFile setting client format 48000 Hz, 2 of 2",
        "write 2:", "setInputHandler none", "ConvertingFile::dispose 1", "setInputHandler", "UnitService::start"}},
      {&AOPlaythru::init,
       {"wrap", "setInputEnabled yes", "setOutputEnabled yes", "UnitService::initialize"},
       {"UnitService::stop", "UnitService::initialize", "InputHardwareFormat", "OutputHardwareFormat",
        "setInputClientFormat 48000 Hz, 1", "setOutputClientFormat 48000 Hz, 1", "setOutputProvider",
        "UnitService::start"}},
      {&OVTestTone::init,
       {"wrap", "UnitService::initialize"},
       {"UnitService::stop", "UnitService::initialize", "OutputHardwareFormat", "setOutputClientFormat 44100 Hz, 2",
        "setOutputProvider", "UnitService::start"}}};
  for (const auto& tool : tools) {
    for (const std::string refused :
         {"nothing", "UnitService::stop", "UnitService::initialize", "setInputClientFormat", "setOutputClientFormat",
          "ConvertingFile::create", "ConvertingFile setting client format", "UnitService::start"}) {
      ScriptedUnit host;
      auto unit = tool.make();
      unit->start();
      Calls made = host.takeCalls();
      EXPECT_EQ(Calls(made.begin() + 2, made.begin() + 2 + std::ssize(tool.made)), tool.made);

      host.isUnitRunning = true;
      host.answers[refused] = [] { return -10; };
      const auto step = std::ranges::find_if(tool.again, [&](auto& call) { return call.starts_with(refused); });
      const bool isRefused = step != tool.again.end();
      Calls expected(tool.again.begin(), isRefused ? step + 1 : step);
      if (isRefused && refused == "ConvertingFile setting client format")
        expected.push_back("ConvertingFile::dispose 2");
      EXPECT_EQ(reasonOf([&] { unit->start(); }), isRefused ? refused + " failed: -10" : "");
      EXPECT_EQ(host.takeCalls(), expected);

      const OVIOUnit& ending = *unit;
      host.answers["UnitService::dispose"] = [&] {
        EXPECT_NE(typeid(ending), typeid(OVIOUnit)) << "what the callback uses is already gone";
        return status::success;
      };
      unit.reset();
      const Calls ended = host.takeCalls();
      EXPECT_EQ(Calls(ended.begin(), ended.begin() + 2), (Calls{"UnitWrapper::invalidate", "UnitService::dispose"}));
    }
  }
}

TEST(AOMeter, BarsRoundDownAndStayWithinForty) {
  const std::pair<double, int> rows[] = {{0, 0},         {0.0249, 0}, {0.025, 1},  {0.5, 20},
                                         {0.9999, 39},   {1, 40},     {5.4e7, 40}, {INFINITY, 40},
                                         {-INFINITY, 0}, {-0.5, 0},   {NAN, 0},    {1e300, 40}};
  for (const auto& [level, stars] : rows) EXPECT_EQ(MeterInputHandler::barStars(level), stars) << level;
}

TEST(AOMeter, MetersEachChannelAndFlushesAtEverySliceAndBeginsAnewAtEachStart) {
  ScriptedUnit host;
  const auto printed = [&](float left, float right, int slices) {
    host.captured = {std::vector<float>(256, left), std::vector<float>(256, right)};
    testing::internal::CaptureStdout();
    std::fputs("<", stdout);
    for (int i = 0; i < slices; ++i) host.deliver(256);
    EXPECT_EQ(__fpending(stdout), 0U);
    return testing::internal::GetCapturedStdout();
  };
  const std::string blanks(40, ' '), stars(40, '*');
  const auto meter = AOMeter::init();
  meter->start();
  EXPECT_EQ(printed(0, 0, 1), "<" + blanks + "  " + blanks + "\r");
  EXPECT_EQ(printed(1e10F, 0, 7), "<");
  EXPECT_EQ(printed(0, 1e10F, 1), "<" + stars + "  " + stars + "\r");
  meter->start();
  EXPECT_EQ(printed(0, 1, 1), "<" + blanks + "  " + stars + "\r");
  const auto left = static_cast<std::size_t>(40 * std::pow(0.001, 8 * 256 / 48000.0 / 1.24));
  EXPECT_EQ(printed(0, 0, 8), "<" + blanks + "  " + stars.substr(0, left) + blanks.substr(left) + "\r");
}

TEST(AORecord, EverySliceGoesToTheFileWhateverBecomesOfItUntilTheUnitIsGone) {
  ScriptedUnit host;
  host.answers["write"] = [] { return status::overrun; };
  auto record = AORecord::initWithFilePath("take.wav");
  record->setClientSampleRate(16000);
  record->start();
  EXPECT_THAT(host.takeCalls(),
              testing::IsSupersetOf({"setInputClientFormat 16000 Hz, 2",
                                     "ConvertingFile::create take.wav: 16 bits, 16000 Hz, 2",
                                     "ConvertingFile setting client format 16000 Hz, 2 of 1", "write 1:"}));
  host.deliver(3);
  host.deliver(1);
  record->stop();
  record.reset();
  EXPECT_THAT(host.takeCalls(),
              ElementsAre("write 1: 1 2 3 -1 -2 -3", "write 1: 1 -1", "UnitService::stop", "UnitWrapper::invalidate",
                          "UnitService::dispose", "ConvertingFile::dispose 1"));
}

TEST(ToolsDeathTest, ARenderFailureAndAFileThatCannotBeDoneEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ScriptedUnit host;
  auto record = AORecord::initWithFilePath("take.wav");
  record->start();
  host.answers["ConvertingFile::dispose"] = [] { return -17; };
  EXPECT_EXIT(record.reset(), KilledBySignal(SIGABRT), "ConvertingFile::dispose failed: -17");
  host.answers.clear();
  host.renderStatus = -10;
  EXPECT_EXIT(host.deliver(3), KilledBySignal(SIGABRT), "^Error -10 while rendering in IORecord\n");
  const auto meter = AOMeter::init();
  meter->start();
  for (const auto& [status, shown] : {std::pair{7, "7"}, std::pair{INT32_MIN, "-2147483648"}}) {
    host.renderStatus = status;
    EXPECT_EXIT(host.deliver(3), KilledBySignal(SIGABRT),
                testing::StartsWith(std::string("Error ") + shown + " while rendering in Meter\n"));
  }
}

TEST(AOPlaythru, RendersTheInputIntoWhatItIsToFillInTheFewerChannels) {
  for (const auto& [inputs, outputs, client] :
       {std::tuple{1U, 2U, "44100 Hz, 1"}, {8U, 6U, "44100 Hz, 6"}, {2U, 2U, "44100 Hz, 2"}}) {
    ScriptedUnit host;
    host.inputHardware = StreamFormat::standard(44100, inputs);
    host.outputHardware = StreamFormat::standard(96000, outputs);
    const auto playthru = AOPlaythru::init();
    playthru->start();
    EXPECT_THAT(host.takeCalls(), testing::IsSupersetOf({std::string("setInputClientFormat ") + client,
                                                         std::string("setOutputClientFormat ") + client}));
    EXPECT_EQ(host.fill(3), host.captured);
    host.renderStatus = -10;
    host.fill(3);
  }
}

TEST(OVTestTone, LeavesTheOscillatorsAloneUntilARunningUnitHasStopped) {
  ScriptedUnit host;
  const auto tone = OVTestTone::init();
  tone->setFrequency(0);
  tone->setClientSampleRate(8000);
  tone->start();
  EXPECT_THAT(host.takeCalls(), testing::Contains("setOutputClientFormat 8000 Hz, 2"));
  host.isUnitRunning = true;
  host.answers["UnitService::stop"] = [&] {
    EXPECT_THAT(host.fill(64)[0], testing::Each(0.0F));
    return status::success;
  };
  tone->setFrequency(261);
  tone->start();
  EXPECT_NE(host.fill(64)[0].back(), 0.0F);

  host.outputHardware = StreamFormat::standard(0, 2);
  host.takeCalls();
  EXPECT_EQ(reasonOf([&] { OVTestTone::init()->start(); }),
            "Hardware sample rate is 0.0 after activating session and initializing AU");
  EXPECT_EQ(host.takeCalls().at(4), "OutputHardwareFormat");
}

}  // namespace
}  // namespace orvane::test
