#include "session/OVSession.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <sstream>

#include "platform/SessionIdentifiers.h"
#include "platform/host/HostSessions.h"
#include "session/OVPrimarySession.h"
#include "tests/support/ReasonOf.h"
#include "tests/support/ScriptedRoles.h"

namespace {

namespace platform = orvane::platform;
using orvane::test::ScriptedLog;
using orvane::test::ScriptedSession;
using orvane::test::ScriptedSessionService;
using orvane::test::UsedPlatform;
using platform::PlatformSession;
using testing::Return;
using testing::StrictMock;

/// A session class to which every implementation type is available.
class AnyTypeSession : public OVSession {
 public:
  static void setImplementationType(std::int64_t type) {
    OVSession::setImplementationType(type, [](std::int64_t) { return true; });
  }
};

TEST(OVSession, RaisesEachRefusalAndKeepsThePlatformSession) {
  const auto scripted = std::make_shared<StrictMock<ScriptedSession>>();
  const auto service = std::make_shared<StrictMock<ScriptedSessionService>>();
  const auto log = std::make_shared<StrictMock<ScriptedLog>>();
  const UsedPlatform used(log, service);
  EXPECT_CALL(*service, makeAuxiliary()).WillOnce(Return(scripted));
  auto session = OVSession::init();

  const platform::PlatformError error(-3, "PlatformSession::operation", "100% no");
  const std::string described = "PlatformSession::operation: 100% no (status -3, no permission)";
  const auto refuseActive = [&](bool a) { EXPECT_CALL(*scripted, setActive(a)).WillOnce(Return(error)); };
  const auto refuseCategory = [&](auto c) { EXPECT_CALL(*scripted, setCategory(c)).WillOnce(Return(error)); };
  const auto refuseMode = [&](auto m) { EXPECT_CALL(*scripted, setMode(m)).WillOnce(Return(error)); };
  const auto refuseOptions = [&](std::uint64_t before, std::uint64_t after) {
    const testing::InSequence inOrder;
    EXPECT_CALL(*scripted, categoryOptions()).WillOnce(Return(before));
    EXPECT_CALL(*scripted, category()).WillOnce(Return("kept"));
    EXPECT_CALL(*scripted, setCategory("kept", after)).WillOnce(Return(error));
  };
  const struct {
    std::function<void()> script;
    std::function<void(OVSession&)> call;
    std::string reason;
  } cases[] = {
      {[&] { refuseActive(true); }, [](auto& s) { s.activate(); }, "activate failed: 100% no"},
      {[&] { refuseActive(false); }, [](auto& s) { s.deactivate(); }, "deactivate failed: 100% no"},
      {[&] { refuseCategory("playback"); }, [](auto& s) { s.setCategory("playback"); }, "setCategory failed: 100% no"},
      {[&] { refuseMode("Raw "); }, [](auto& s) { s.setMode("Raw "); }, "setMode failed: 100% no"},
      {[&] { refuseOptions(0x5, 0x25); }, [](auto& s) { s.changeCategoryOption(0x20, true); },
       "change categoryOption 0x20 1 failed: " + described},
      {[&] { refuseOptions(0x5, 0x4); }, [](auto& s) { s.changeCategoryOption(0xABCDEF0123456789, false); },
       "change categoryOption 0xabcdef0123456789 0 failed: " + described},
      {[] {}, [](auto& s) { s.sessionToken(); }, "OVSession: sessionToken not implemented"},
      {[] {}, [](auto& s) { s.setImplementationType(0); }, "unavailable session implementation type 0"},
      {[] {}, [](auto& s) { s.setImplementationType(2); }, "unavailable session implementation type 2"},
      {[] {}, [](auto& s) { s.setImplementationType(INT64_MIN); },
       "unavailable session implementation type -9223372036854775808"}};
  for (const auto& [script, call, reason] : cases) {
    SCOPED_TRACE(reason);
    script();
    EXPECT_CALL(*log, write(platform::LogLevel::error, "Failure: " + reason));
    EXPECT_EQ(orvane::test::reasonOf([&, &call = call] { call(*session); }), reason);
    EXPECT_EQ(session->session(), scripted);
    EXPECT_EQ(OVSession::implementationType(), 1);
  }
  const auto holders = scripted.use_count();
  session.reset();
  EXPECT_EQ(scripted.use_count(), holders - 1);
}

class OVSessionOnHost : public testing::Test {
 protected:
  static PlatformSession& behind(const OVSession& session) {
    return dynamic_cast<PlatformSession&>(*session.session());
  }

  const std::shared_ptr<orvane::host::HostSessions> sessions = std::make_shared<orvane::host::HostSessions>();
  const UsedPlatform used{nullptr, sessions};
};

/// "EmergencyAlert_CanBeMuted" and "orvane.category.emergency-alert-can-be-muted" both give "emergencyalertcanbemuted".
std::string letters(std::string name) {
  name.erase(0, name.rfind('.') + 1);
  std::erase_if(name, [](char character) { return character == '-' || character == '_'; });
  std::ranges::transform(name, name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name;
}

TEST_F(OVSessionOnHost, EveryShortNameGivesTheIdentifierOfItsName) {
  std::istringstream categories(
      "Ambient SoloAmbient Playback Record PlayAndRecord MultiRoute Narrava VoiceCommand RingtonePreview Ringtone "
      "VoiceMail PhoneCall TTYCall Alarm PlaybackNoSpeaker EmergencyAlert EmergencyAlert_CanBeMuted Locatron "
      "WaterEjection");
  std::istringstream modes(
      "Default VoiceChat GameChat VideoRecording Measurement MoviePlayback SpokenAudio VideoChat SpeechRecognition "
      "VoicePrompt Raw VoiceMessages LocatePhone HearingAccessibility Motiongram SOS");
  const auto session = OVSession::init();
  for (std::string name; categories >> name;) {
    session->setCategory(name);
    const std::string identifier = session->category();
    EXPECT_THAT(identifier, testing::StartsWith("orvane.category."));
    EXPECT_EQ(letters(identifier), letters(name));
    session->setCategory("MultiRoute");
    session->setCategory(identifier);
    EXPECT_EQ(session->category(), identifier) << "the identifier itself is a name too";
  }
  for (std::string name; modes >> name;) {
    session->setMode(name);
    EXPECT_THAT(session->mode(), testing::StartsWith("orvane.mode."));
    EXPECT_EQ(letters(session->mode()), letters(name));
  }
}

TEST_F(OVSessionOnHost, OptionsReadAndChangeTheirBitsAlone) {
  const struct {
    bool (OVSession::*get)() const;
    void (OVSession::*set)(bool);
    std::uint64_t bits;
  } options[] = {{&OVSession::mixWithOthers, &OVSession::setMixWithOthers, 0x1},
                 {&OVSession::duckOthers, &OVSession::setDuckOthers, 0x2},
                 {&OVSession::allowHFP, &OVSession::setAllowHFP, 0x4},
                 {&OVSession::defaultToSpeaker, &OVSession::setDefaultToSpeaker, 0x8},
                 {&OVSession::mixExceptWithSpokenAudio, &OVSession::setMixExceptWithSpokenAudio, 0x11},
                 {&OVSession::allowA2DP, &OVSession::setAllowA2DP, 0x20},
                 {&OVSession::allowSkycast, &OVSession::setAllowSkycast, 0x40}};
  const auto session = OVSession::init();
  session->setMode("Measurement");
  for (const auto& [get, set, bits] : options) {
    for (std::uint64_t before = 0; before < 0x80; ++before) {
      for (const bool state : {false, true}) {
        SCOPED_TRACE(testing::Message() << "bits " << bits << " to " << state << " from " << before);
        ASSERT_EQ(behind(*session).setCategory(platform::category::multiRoute, before), std::nullopt);
        EXPECT_EQ((*session.*get)(), (before & bits) != 0) << "either bit is enough";
        (*session.*set)(state);
        EXPECT_EQ(behind(*session).categoryOptions(), state ? before | bits : before & ~bits);
      }
    }
  }
  EXPECT_EQ(session->category(), platform::category::multiRoute);
  EXPECT_EQ(session->mode(), platform::mode::measurement);
}

TEST_F(OVSessionOnHost, PrimaryIsSharedAndAuxiliaryIsNot) {
  const auto primary = OVPrimarySession::init();
  const auto again = OVSession::initWithAuxillarySession(false);
  const auto auxiliary = OVSession::init();
  EXPECT_EQ(primary->session(), sessions->primary());
  EXPECT_EQ(again->session(), sessions->primary());
  EXPECT_NE(auxiliary->session(), sessions->primary());
  EXPECT_NE(auxiliary->session(), OVSession::initWithAuxillarySession(true)->session());

  primary->setCategory("Record");
  primary->setAllowHFP(true);
  EXPECT_EQ(primary->activate(), nullptr);
  EXPECT_EQ(again->category(), platform::category::record);
  EXPECT_TRUE(again->allowHFP());
  EXPECT_TRUE(behind(*again).isActive());
  EXPECT_FALSE(auxiliary->allowHFP());
  EXPECT_FALSE(behind(*auxiliary).isActive());
  again->deactivate();
  EXPECT_FALSE(behind(*primary).isActive());
  EXPECT_THAT(auxiliary->description(), testing::MatchesRegex("<OVSession: 0x[0-9a-f]+>"));
  EXPECT_THAT(primary->description(), testing::MatchesRegex("<OVPrimarySession: 0x[0-9a-f]+>"));
}

TEST_F(OVSessionOnHost, StoredValuesStayAsSetAndStartAtZero) {
  const auto session = OVSession::init();
  const auto values = [&] {
    return std::tuple(session->sampleRate(), session->IOBufferDuration(), session->IOBufferFrameCount(),
                      session->pauseOnDisconnect(), session->jsonOutput());
  };
  EXPECT_EQ(values(), std::tuple(0.0, 0.0, 0U, false, false));
  session->setSampleRate(44100.5);
  session->setIOBufferDuration(0.02);
  session->setIOBufferFrameCount(UINT64_MAX);
  session->setPauseOnDisconnect(true);
  EXPECT_EQ(values(), std::tuple(44100.5, 0.02, UINT64_MAX, true, false));
  session->setJsonOutput(true);
  EXPECT_EQ(values(), std::tuple(44100.5, 0.02, UINT64_MAX, true, true));
}

TEST_F(OVSessionOnHost, OtherImplementationTypesHaveNoPlatformSession) {
  for (const std::int64_t type : {0, 7}) {
    AnyTypeSession::setImplementationType(type);
    EXPECT_EQ(OVSession::implementationType(), type);
    const std::shared_ptr<OVSession> primary = OVPrimarySession::init();
    EXPECT_EQ(primary == nullptr, type == 0);
    for (const auto& session : {OVSession::init(), primary ? primary : OVSession::init()}) {
      EXPECT_EQ(session->session(), nullptr);
      session->setCategory("Playback");
      session->setMode("Raw");
      session->setDuckOthers(true);
      EXPECT_EQ(session->activate(), nullptr);
      session->deactivate();
      EXPECT_EQ(session->category() + session->mode(), "");
      EXPECT_FALSE(session->duckOthers());
    }
  }
  OVSession::setImplementationType(1);
  EXPECT_NE(OVSession::init()->session(), nullptr);
}

}  // namespace
