// SPDX-License-Identifier: MIT
#include <stdio_ext.h>

#include <concepts>
#include <typeinfo>

#include "iounit/AOMeter.h"
#include "iounit/AOPlaythru.h"
#include "iounit/AORecord.h"
#include "iounit/OVTestTone.h"
#include "session/OVJSON.h"
#include "session/OVPrimarySession.h"
#include "session/OVSession.h"
#include "tests/support/ScriptedHost.h"

namespace orvane::test {
namespace {

using namespace platform;

// The inherited factory would create an object of the base class.
template <typename Class>
concept HasInit = std::same_as<decltype(Class::init()), std::shared_ptr<Class>>;
template <typename Class>
concept HasAnyInit = !std::is_void_v<decltype(Class::init())>;
template <typename Class>
concept HasAuxiliaryInit = !std::is_void_v<decltype(Class::initWithAuxillarySession(true))>;
static_assert(HasInit<OVIOUnit> && HasInit<AOMeter> && HasInit<AOPlaythru> && HasInit<OVTestTone>);
static_assert(HasInit<OVSession> && HasInit<OVPrimarySession>);
static_assert(!HasAnyInit<AORecord> && HasAuxiliaryInit<OVSession> && !HasAuxiliaryInit<OVPrimarySession>);

/// A session whose `session()` returns an object that is not a platform session.
struct ForeignSession : OVSession {
  ForeignSession() : OVSession(false) {}
  std::shared_ptr<Object> session() const override { return object; }
  const std::shared_ptr<Object> object = std::make_shared<Object>();
};

struct OVIOUnitTest : testing::Test {
  ScriptedHost host;
  std::shared_ptr<OVIOUnit> unit = OVIOUnit::init();
};

TEST_F(OVIOUnitTest, WhateverNeedsTheUnitMakesItOnce) {
  const std::pair<std::function<void(OVIOUnit&)>, std::string> needs[] = {
      {&OVIOUnit::initializeAU, "UnitService::initialize"},
      {&OVIOUnit::start, "UnitService::start"},
      {&OVIOUnit::stop, "UnitService::stop"},
      {&OVIOUnit::inputHardwareFormat, "InputHardwareFormat"},
      {&OVIOUnit::outputHardwareFormat, "OutputHardwareFormat"},
      {&OVIOUnit::inputClientFormat, "InputClientFormat"},
      {&OVIOUnit::outputClientFormat, "OutputClientFormat"}};
  for (const auto& [need, call] : needs) {
    unit = OVIOUnit::init();
    need(*unit);
    need(*unit);
    EXPECT_THAT(host.takeCalls(), EndsWith("find rioc > create > wrap > " + call + " > " + call));
  }
}

TEST_F(OVIOUnitTest, SubTypeIsFourBytesAndFrozenOnceTheUnitExists) {
  const std::tuple<std::optional<std::string>, std::string, std::vector<std::string>> rows[] = {
      {std::nullopt, "find rioc > create > wrap", {}},
      {"\xC3\xA9\xC3\xBC", "find \xC3\xA9\xC3\xBC > create > wrap", {}},
      {"ab%s\xC3", "find rioc > create > wrap", {"warning: invalid I/O unit subtype string: ab%s\xC3"}}};
  for (const auto& [text, calls, log] : rows) {
    unit = OVIOUnit::init();
    unit->setComponentSubType("to be replaced");
    unit->setComponentSubType(text);
    host.logged.clear();
    unit->audioUnit();
    EXPECT_THAT(host.takeCalls(), EndsWith(calls));
    EXPECT_EQ(host.logged, log);
    unit->setComponentSubType("rioc");
    EXPECT_EQ(unit->componentSubType(), text);
    EXPECT_EQ(host.logged.back(), "warning: Warning: ignoring attempt to set I/O unit sub-type after initialization");
  }
}

TEST_F(OVIOUnitTest, UnitThatWasNotMadeCanBeAskedForAgain) {
  unit->setComponentSubType("\xC3\xA9\xC3\xBC");
  for (const auto& [call, status, reason] : {std::tuple{"find", -1, "I/O unit subtype 0xc3a9c3bc not found"},
                                             {"create", -12, "Failed to instantiate I/O unit: -12"},
                                             {"create", 0, "Failed to instantiate I/O unit: 0"}}) {
    host.answers = {{call, [status = status] { return status; }}};
    EXPECT_EQ(reasonOf([&] { unit->audioUnit(); }), reason);
  }
  host.answers.clear();
  EXPECT_NE(unit->audioUnit(), UnitInstance::none);
}

TEST_F(OVIOUnitTest, UnitThatCannotBeWrappedStaysAndIsDisposed) {
  host.answers["wrap"] = [] { return -1; };
  unit = AOMeter::init();
  EXPECT_EQ(reasonOf([&] { unit->wrapperUnit(); }), "Failed to wrap UnitInstance 3 in UnitWrapper");
  EXPECT_EQ(unit->wrapperUnit(), nullptr);
  EXPECT_EQ(reasonOf([&] { unit->inputHardwareFormat(); }), "UnitInstance 3 has no UnitWrapper");
  unit.reset();
  EXPECT_EQ(host.takeCalls(), "find rioc > create > wrap > UnitService::dispose");
}

TEST_F(OVIOUnitTest, BindsThePlatformSessionAndKeepsTheOldOneWhenRefused) {
  const auto session = OVSession::initWithAuxillarySession(false);
  const auto foreign = std::make_shared<ForeignSession>();
  unit->setSession(session);
  EXPECT_EQ(host.takeCalls(), "find rioc > create > wrap > setSession 1");
  host.answers["setSession"] = [] { return status::unknownSession; };
  const std::pair<std::shared_ptr<OVSession>, std::string> rows[] = {
      {OVPrimarySession::init(), "UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: 1"},
      {nullptr, "unsupported session implementation type (null)"},
      {foreign, "unsupported session implementation type " + foreign->object->description()}};
  for (const auto& [refused, why] : rows) {
    EXPECT_EQ(reasonOf([&, &refused = refused] { unit->setSession(refused); }), "setSession failed -- " + why);
    EXPECT_EQ(unit->session(), session);
  }
}

TEST_F(OVIOUnitTest, EndsOnTheHostThatMadeItAndGoesOnAfterAFailure) {
  unit->initializeAU();
  use({});
  host.answers["UnitWrapper::invalidate"] = []() -> Status { throw std::runtime_error("gone"); };
  host.answers["UnitService::dispose"] = []() -> Status { throw PlatformException("HostException", "lost"); };
  unit.reset();
  EXPECT_THAT(host.takeCalls(), EndsWith("initialize > UnitWrapper::invalidate > UnitService::dispose"));
  EXPECT_THAT(host.logged,
              ElementsAre("error: UnitWrapper::invalidate failed: gone", "error: UnitService::dispose failed: lost"));
}

TEST(Tools, NameTheRoleThatAHostDoesNotHave) {
  using Step = std::function<void()>;
  const std::tuple<const char*, std::function<void(Platform&)>, Step> cases[] = {
      {"SessionService", [](auto& host) { host.sessions = {}; }, [] { OVSession::init(); }},
      {"SessionService", [](auto& host) { host.sessions = {}; }, [] { OVPrimarySession::init(); }},
      {"Json", [](auto& host) { host.json = {}; }, [] { OVPrintJSON(1, true); }},
      {"UnitService", [](auto& host) { host.units = {}; }, [] { OVIOUnit::init()->audioUnit(); }},
      {"ConvertingFile", [](auto& host) { host.convertingFiles = {}; },
       [] { AORecord::initWithFilePath("take.wav")->start(); }}};
  for (const auto& [role, remove, step] : cases) {
    ScriptedHost scripted;
    const std::string reason = std::string(role) + " is not available on this host";
    Platform host = current();
    remove(host);
    use(host);
    EXPECT_EQ(reasonOf(step), reason);
    host.log = {};
    use(host);
    EXPECT_EQ(reasonOf(step), reason) << "without a log";
    EXPECT_THAT(scripted.logged, ElementsAre("error: Failure: " + reason));
  }
}

/// A tool and the host calls that it must make: `made` lists the calls of the first start after the unit was wrapped
/// and before it is initialised; `again` lists the calls of a restart between initialising and starting the unit. Each
/// tool requests the standard format, whatever format the hardware has.
struct ToolCase {
  const char* name;
  std::shared_ptr<OVIOUnit> (*make)();
  std::string made;
  std::string again;
};

struct EachTool : testing::TestWithParam<ToolCase> {
  ScriptedHost host;
  const std::shared_ptr<OVIOUnit> tool = GetParam().make();
};

TEST_P(EachTool, StartsInOrderGoesNoFurtherThanWhatIsRefusedAndEndsInOrder) {
  for (const std::string refused :
       {"nothing", "UnitService::stop", "UnitService::initialize", "setInputClientFormat", "setOutputClientFormat",
        "ConvertingFile::create", "ConvertingFile setting client format", "UnitService::start"}) {
    ScriptedHost scripted;
    auto unit = GetParam().make();
    unit->audioUnit();
    unit->start();
    EXPECT_THAT(scripted.takeCalls(),
                StartsWith("find rioc > create > wrap > " + GetParam().made + "UnitService::initialize > "));

    scripted.isAudioRunning = true;
    scripted.answers[refused] = [] { return 7; };  // Every status but zero is a failure.
    const std::string all =
        "UnitService::stop > UnitService::initialize > " + GetParam().again + " > UnitService::start";
    const std::size_t step = all.find(refused);
    std::string expected = all.substr(0, all.find(" > ", step));
    if (expected.ends_with("format 48000 Hz, 2 of 2")) expected += " > ConvertingFile::dispose 2";
    EXPECT_EQ(reasonOf([&] { unit->start(); }), step == std::string::npos ? "" : refused + " failed: 7");
    EXPECT_EQ(scripted.takeCalls(), expected);

    const OVIOUnit& ending = *unit;
    scripted.answers["UnitService::dispose"] = [&] {
      EXPECT_NE(typeid(ending), typeid(OVIOUnit)) << "what the callback uses is already gone";
      return status::success;
    };
    unit.reset();
    EXPECT_THAT(scripted.takeCalls(),
                MatchesRegex("UnitWrapper::invalidate > UnitService::dispose( > ConvertingFile::dispose [12])?"));
  }
}

TEST_P(EachTool, StaysOnTheHostItWasMadeOn) {
  const auto session = OVSession::init();
  const ScriptedHost second;
  host.answers["UnitService::start"] = [] { return -10; };
  tool->setComponentSubType("too long");
  EXPECT_EQ(reasonOf([&] { tool->start(); }), "UnitService::start failed: -10");
  EXPECT_THAT(host.takeCalls(), EndsWith("UnitService::start"));
  EXPECT_NE(reasonOf([&] { session->setCategory("none"); }), "");
  EXPECT_THAT(host.logged, ElementsAre("warning: invalid I/O unit subtype string: too long",
                                       "error: Failure: UnitService::start failed: -10",
                                       StartsWith("error: Failure: setCategory failed")));
}

const ToolCase toolCases[] = {
    {"AOMeter", [] { return std::shared_ptr<OVIOUnit>(AOMeter::init()); },
     "setInputEnabled yes > setOutputEnabled no > ",
     "InputHardwareFormat > setInputHandler none > setInputClientFormat 48000 Hz, 2 > setInputHandler"},
    {"AORecord", [] { return std::shared_ptr<OVIOUnit>(AORecord::initWithFilePath("a b.wav")); },
     "setInputEnabled yes > setOutputEnabled no > ",
     "InputHardwareFormat > setInputClientFormat 48000 Hz, 2 > ConvertingFile::create a b.wav: 16 bits, 48000 Hz, 2 > "
     "ConvertingFile setting client format 48000 Hz, 2 of 2 > write 0 to 2 > setInputHandler none > "
     "ConvertingFile::dispose 1 > setInputHandler"},
    {"AOPlaythru", [] { return std::shared_ptr<OVIOUnit>(AOPlaythru::init()); },
     "setInputEnabled yes > setOutputEnabled yes > ",
     "InputHardwareFormat > OutputHardwareFormat > setInputClientFormat 48000 Hz, 1 > "
     "setOutputClientFormat 48000 Hz, 1 > setOutputProvider"},
    {"OVTestTone", [] { return std::shared_ptr<OVIOUnit>(OVTestTone::init()); }, "",
     "OutputHardwareFormat > setOutputClientFormat 44100 Hz, 2 > setOutputProvider"}};

INSTANTIATE_TEST_SUITE_P(Tools, EachTool, testing::ValuesIn(toolCases), byName);

/// The tools that install an input handler.
using EachInputTool = EachTool;

TEST_P(EachInputTool, LeavesTheMemoryOfEachSliceToTheHost) {
  tool->start();
  host.captured = {std::vector(256, 0.0F), std::vector(256, 0.0F)};
  testing::internal::CaptureStdout();
  for (int slice = 0; slice < 2; ++slice) host.deliver(256);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(host.lent, 2) << "a buffer that keeps an old address shows old samples";
}

INSTANTIATE_TEST_SUITE_P(Tools, EachInputTool, testing::ValuesIn(toolCases, toolCases + 2), byName);

TEST(AOMeter, FlushesAtEverySliceAndBeginsAnewAtEachStart) {
  ScriptedHost host;
  const auto meter = AOMeter::init();
  for (const auto& [loudness, bar] : {std::pair{1e10F, '*'}, {0.0F, ' '}}) {
    host.captured = {std::vector(256, loudness), std::vector(256, 0.0F)};
    meter->start();
    testing::internal::CaptureStdout();
    host.deliver(256);
    std::fputs("<", stdout);
    host.deliver(256);
    EXPECT_EQ(__fpending(stdout), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string(40, bar) + std::string(42, ' ') + "\r<");
  }
}

TEST(AORecordDeathTest, ARenderFailureEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ScriptedHost host;
  const auto record = AORecord::initWithFilePath("take.wav");
  record->start();
  host.renderStatus = INT32_MIN;
  EXPECT_EXIT(host.deliver(3), testing::KilledBySignal(SIGABRT), "^Error -2147483648 while rendering in IORecord\n");
}

TEST(AOPlaythru, TakesTheFewerChannelsAndPassesARenderFailureOn) {
  ScriptedHost host;
  host.inputHardware.told = StreamFormat::standard(44100, 1);
  host.outputHardware.told = StreamFormat::standard(96000, 2);
  const auto playthru = AOPlaythru::init();
  playthru->start();
  EXPECT_THAT(host.takeCalls(), HasSubstr("setInputClientFormat 44100 Hz, 1 > setOutputClientFormat 44100 Hz, 1"));
  host.renderStatus = -10;
  host.fill(3);
}

TEST(OVTestTone, LeavesTheOscillatorsAloneUntilARunningUnitHasStopped) {
  ScriptedHost host;
  const auto tone = OVTestTone::init();
  tone->setFrequency(0);
  tone->start();
  host.isAudioRunning = true;
  host.answers["UnitService::stop"] = [&] {
    EXPECT_THAT(host.fill(64), Each(0.0F));
    return status::success;
  };
  tone->setFrequency(261);
  tone->start();
  EXPECT_NE(host.fill(64).back(), 0.0F);
}

}  // namespace
}  // namespace orvane::test
