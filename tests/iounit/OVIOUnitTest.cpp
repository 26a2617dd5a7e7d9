#include "iounit/OVIOUnit.h"

#include <stdexcept>

#include "iounit/AOMeter.h"
#include "iounit/OVTestTone.h"
#include "session/OVSession.h"
#include "tests/support/ReasonOf.h"
#include "tests/support/ScriptedUnit.h"

namespace orvane::test {
namespace {

using namespace platform;
using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::Return;

struct ForeignObject : Object {
  std::string description() const override { return "<Foreign: 100%s>"; }
};

/// A session on an object of the test's.
class BackedSession : public OVSession {
 public:
  explicit BackedSession(std::shared_ptr<Object> backing) : OVSession(false), mBacking(std::move(backing)) {}
  std::shared_ptr<Object> session() const override { return mBacking; }

 private:
  std::shared_ptr<Object> mBacking;
};

class OVIOUnitTest : public testing::Test {
 protected:
  static std::shared_ptr<OVSession> makeSession(std::uint32_t identifier) {
    const auto session = std::make_shared<testing::NiceMock<ScriptedSession>>();
    ON_CALL(*session, identifier).WillByDefault(Return(identifier));
    return std::make_shared<BackedSession>(session);
  }

  ScriptedUnit scripted;
  ScriptedUnitService& service = *scripted.service;
  std::shared_ptr<OVIOUnit> unit = OVIOUnit::init();
};

TEST_F(OVIOUnitTest, WhateverNeedsTheUnitMakesItOnce) {
  const std::function<void(OVIOUnit&)> needs[] = {
      [](OVIOUnit& u) { EXPECT_EQ(u.audioUnit(), ScriptedUnit::instance); },
      [this](OVIOUnit& u) { EXPECT_EQ(u.wrapperUnit(), scripted.wrapper); },
      &OVIOUnit::initializeAU,
      &OVIOUnit::start,
      &OVIOUnit::inputHardwareFormat,
      [](OVIOUnit& u) { u.setOutputClientFormat({}); },
      [](OVIOUnit& u) { u.setSession(makeSession(7)); },
  };
  for (const auto& need : needs) {
    unit = OVIOUnit::init();
    InSequence order;
    EXPECT_CALL(service, findComponent(UnitDescription{0x61756F75, 0x72696F63, 0x6F72766E, 0, 0}));
    EXPECT_CALL(service, createInstance(ScriptedUnit::component, _));
    EXPECT_CALL(service, wrap(ScriptedUnit::instance));
    need(*unit);
    need(*unit);
    testing::Mock::VerifyAndClearExpectations(&service);
  }
}

TEST_F(OVIOUnitTest, SubTypeIsFourBytesAndFrozenOnceTheUnitExists) {
  const struct {
    std::optional<std::string> text;
    std::uint32_t code;
    std::vector<std::string> log;
  } rows[] = {
      {std::nullopt, 0x72696F63, {}},
      {"xyzw", 0x78797A77, {}},
      {"\xC3\xA9\xC3\xBC", 0xC3A9C3BC, {}},
      {"abc", 0x72696F63, {"invalid I/O unit subtype string: abc"}},
      {"ab%s\xC3", 0x72696F63, {"invalid I/O unit subtype string: ab%s\xC3"}},
  };
  for (const auto& row : rows) {
    unit = OVIOUnit::init();
    unit->setComponentSubType("to be replaced");
    unit->setComponentSubType(row.text);
    scripted.logged.clear();
    EXPECT_CALL(service, findComponent(testing::Field(&UnitDescription::subType, row.code)));
    unit->audioUnit();
    EXPECT_EQ(scripted.logged, row.log);
    scripted.logged.clear();
    unit->setComponentSubType("rioc");
    EXPECT_EQ(unit->componentSubType(), row.text);
    EXPECT_THAT(scripted.logged,
                ElementsAre("Warning: ignoring attempt to set I/O unit sub-type after initialization"));
  }
}

TEST_F(OVIOUnitTest, RaisesWhatTheHostRefuses) {
  const PlatformError refusal(-8, "UnitBus::setFormat", "no such rate");
  const auto format = StreamFormat::standard(96000, 3);
  using Step = std::function<void(OVIOUnit&)>;
  const auto findNothing = [this](OVIOUnit& u, const char* subType) {
    u.setComponentSubType(subType);
    EXPECT_CALL(service, findComponent).WillOnce(Return(UnitComponent::none));
  };
  const Step ask = &OVIOUnit::audioUnit;
  const struct {
    std::string reason;
    Step script;
    Step step;
  } rows[] = {
      {"I/O unit subtype 'xyzw' not found", [&](auto& u) { findNothing(u, "xyzw"); }, ask},
      {"I/O unit subtype 0xc3a9c3bc not found", [&](auto& u) { findNothing(u, "\xC3\xA9\xC3\xBC"); }, ask},
      {"Failed to instantiate I/O unit: -12",
       [&](auto&) {
         EXPECT_CALL(service, createInstance).WillOnce([](auto, auto& u) { return u = UnitInstance{9}, -12; });
       },
       ask},
      {"Failed to instantiate I/O unit: 0", [&](auto&) { EXPECT_CALL(service, createInstance).WillOnce(Return(0)); },
       ask},
      {"UnitService::initialize failed: -10",
       [&](auto&) { EXPECT_CALL(service, initialize(ScriptedUnit::instance)).WillOnce(Return(-10)); },
       &OVIOUnit::initializeAU},
      {"UnitService::start failed: 560",
       [&](auto&) {
         EXPECT_CALL(service, initialize).Times(0);
         EXPECT_CALL(service, start(ScriptedUnit::instance)).WillOnce(Return(560));
       },
       &OVIOUnit::start},
      {"UnitService::stop failed: -13",
       [&](auto&) { EXPECT_CALL(service, stop(ScriptedUnit::instance)).WillOnce(Return(-13)); }, &OVIOUnit::stop},
      {"setInputClientFormat failed: no such rate",
       [&](auto&) { EXPECT_CALL(scripted.outputBus[1], setFormat(format)).WillOnce(Return(refusal)); },
       [&](auto& u) { u.setInputClientFormat(format); }},
      {"setOutputClientFormat failed: no such rate",
       [&](auto&) { EXPECT_CALL(scripted.inputBus[0], setFormat(format)).WillOnce(Return(refusal)); },
       [&](auto& u) { u.setOutputClientFormat(format); }},
  };
  for (const auto& row : rows) {
    unit = OVIOUnit::init();
    scripted.logged.clear();
    row.script(*unit);
    EXPECT_EQ(reasonOf([&] { row.step(*unit); }), row.reason);
    EXPECT_THAT(scripted.logged, ElementsAre("Failure: " + row.reason));
    testing::Mock::VerifyAndClearExpectations(&service);
    EXPECT_EQ(unit->audioUnit(), ScriptedUnit::instance) << "a unit that was not made can be asked for again";
  }
}

TEST_F(OVIOUnitTest, UnitThatCannotBeWrappedStaysAndIsDisposed) {
  const std::shared_ptr<OVIOUnit> tools[] = {OVIOUnit::init(), AOMeter::init(), OVTestTone::init()};
  for (const auto& tool : tools) {
    EXPECT_CALL(service, createInstance).Times(1);
    EXPECT_CALL(service, wrap).WillOnce(Return(nullptr));
    EXPECT_EQ(reasonOf([&] { tool->wrapperUnit(); }), "Failed to wrap UnitInstance 3 in UnitWrapper");
    EXPECT_EQ(tool->audioUnit(), ScriptedUnit::instance);
    EXPECT_EQ(tool->wrapperUnit(), nullptr);
    EXPECT_EQ(reasonOf([&] { tool->inputHardwareFormat(); }), "UnitInstance 3 has no UnitWrapper");
    testing::Mock::VerifyAndClearExpectations(&service);
  }
  EXPECT_CALL(*scripted.wrapper, invalidate).Times(0);
  EXPECT_CALL(service, dispose(ScriptedUnit::instance)).Times(3);
}

TEST_F(OVIOUnitTest, FormatsAreThoseOfTheirBusesAtEachRead) {
  for (const double rate : {8000.0, 48000.0}) {
    ON_CALL(scripted.inputBus[1], format).WillByDefault(Return(StreamFormat::standard(rate, 1)));
    ON_CALL(scripted.outputBus[0], format).WillByDefault(Return(StreamFormat::standard(rate, 2)));
    ON_CALL(scripted.outputBus[1], format).WillByDefault(Return(StreamFormat::standard(rate, 3)));
    ON_CALL(scripted.inputBus[0], format).WillByDefault(Return(StreamFormat::standard(rate, 4)));
    EXPECT_EQ(unit->inputHardwareFormat(), StreamFormat::standard(rate, 1));
    EXPECT_EQ(unit->outputHardwareFormat(), StreamFormat::standard(rate, 2));
    EXPECT_EQ(unit->inputClientFormat(), StreamFormat::standard(rate, 3));
    EXPECT_EQ(unit->outputClientFormat(), StreamFormat::standard(rate, 4));
  }
}

TEST_F(OVIOUnitTest, BindsThePlatformSessionAndKeepsTheOldOneWhenRefused) {
  EXPECT_CALL(service, createInstance).Times(0);
  EXPECT_NE(reasonOf([&] { unit->setSession(nullptr); }), "");
  EXPECT_EQ(unit->session(), nullptr);
  testing::Mock::VerifyAndClearExpectations(&service);

  std::uint32_t identifier = 0;
  EXPECT_CALL(service, setProperty(ScriptedUnit::instance, UnitProperty::sessionIdentifier, UnitScope::global, 0, _, 4))
      .WillRepeatedly([&](auto, auto, auto, auto, const void* data, auto) {
        identifier = *static_cast<const std::uint32_t*>(data);
        return identifier == 7 ? status::unknownSession : status::success;
      });
  const auto session = makeSession(4000000007);
  unit->setSession(session);
  EXPECT_EQ(identifier, 4000000007);
  EXPECT_EQ(unit->session(), session);

  const std::pair<std::shared_ptr<OVSession>, std::string> rows[] = {
      {makeSession(7), "UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: 7"},
      {nullptr, "unsupported session implementation type (null)"},
      {std::make_shared<BackedSession>(nullptr), "unsupported session implementation type (null)"},
      {std::make_shared<BackedSession>(std::make_shared<ForeignObject>()),
       "unsupported session implementation type <Foreign: 100%s>"},
  };
  for (const auto& [refused, why] : rows) {
    EXPECT_EQ(reasonOf([&, &refused = refused] { unit->setSession(refused); }), "setSession failed -- " + why);
    EXPECT_EQ(unit->session(), session);
  }
}

TEST_F(OVIOUnitTest, TearsDownTheWrapperThenTheUnitOnTheHostThatMadeIt) {
  auto session = makeSession(1);
  const std::weak_ptr<OVSession> released = session;
  unit->setSession(std::move(session));
  Platform others;
  others.units = std::make_shared<testing::StrictMock<ScriptedUnitService>>();
  use(others);
  unit->initializeAU();
  InSequence order;
  EXPECT_CALL(service, stop).Times(0);
  EXPECT_CALL(*scripted.wrapper, invalidate);
  EXPECT_CALL(service, dispose(ScriptedUnit::instance)).WillOnce([&](auto) { EXPECT_FALSE(released.expired()); });
  unit.reset();
  EXPECT_TRUE(released.expired());
}

TEST_F(OVIOUnitTest, TeardownGoesOnAfterAFailure) {
  unit->audioUnit();
  EXPECT_CALL(*scripted.wrapper, invalidate).WillOnce(testing::Throw(std::runtime_error("gone")));
  EXPECT_CALL(service, dispose).WillOnce(testing::Throw(PlatformException("HostException", "lost")));
  unit.reset();
  EXPECT_THAT(scripted.logged,
              ElementsAre("UnitWrapper::invalidate failed: gone", "UnitService::dispose failed: lost"));
}

}  // namespace
}  // namespace orvane::test
