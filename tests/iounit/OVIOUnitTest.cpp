#include "iounit/OVIOUnit.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "iounit/AOMeter.h"
#include "platform/PlatformSession.h"
#include "session/OVSession.h"
#include "tests/support/ScriptedUnit.h"

namespace orvane::test {
namespace {

using namespace platform;
using testing::ElementsAre;

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

}  // namespace
}  // namespace orvane::test
