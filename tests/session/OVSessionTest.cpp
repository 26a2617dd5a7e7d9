#include "session/OVSession.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cctype>
#include <functional>
#include <iterator>
#include <set>
#include <sstream>
#include <thread>

#include "platform/PlatformSession.h"
#include "platform/SessionIdentifiers.h"
#include "session/OVPrimarySession.h"
#include "session/OVThrow.h"
#include "tests/support/UsedPlatform.h"

namespace {

using namespace orvane::platform;

/// Gives out a session that refuses everything, with a text that tells what it was asked for.
struct RefusingSessions : SessionService, PlatformSession {
  using Outcome = std::optional<PlatformError>;
  static Outcome refuse(const std::string& asked) { return PlatformError(-3, "Role::operation", "100% no " + asked); }

  std::shared_ptr<PlatformSession> primary() override { return {std::shared_ptr<void>(), this}; }
  std::shared_ptr<PlatformSession> makeAuxiliary() override { return primary(); }
  std::string category() const override { return "kept"; }
  Outcome setCategory(const std::string& name) override { return refuse(name); }
  Outcome setCategory(const std::string& name, std::uint64_t options) override {
    return refuse(name + ' ' + std::to_string(options));
  }
  std::string mode() const override { return {}; }
  Outcome setMode(const std::string& name) override { return refuse(name); }
  std::uint64_t categoryOptions() const override { return 5; }
  bool isActive() const override { return false; }
  Outcome setActive(bool active) override { return refuse(active ? "on" : "off"); }
  std::uint32_t identifier() const override { return 1; }
};

TEST(OVSession, LogsEachFailureThenRaisesIt) {
  Platform services;
  services.sessions = std::make_shared<RefusingSessions>();
  orvane::test::UsedPlatform used(services);
  const auto session = OVSession::init();
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { _OVThrowMsg("100%s of %n and %@"); }, "100%s of %n and %@"},
      {[] { OVThrow("start failed", PlatformException("Name", "no %d")); }, "start failed: no %d"},
      {[] { OVThrow("least", INT32_MIN); }, "least: -2147483648"},
      {[&] { session->activate(); }, "activate failed: 100% no on"},
      {[&] { session->deactivate(); }, "deactivate failed: 100% no off"},
      {[&] { session->setCategory("playback"); }, "setCategory failed: 100% no playback"},
      {[&] { session->setMode("Raw "); }, "setMode failed: 100% no Raw "},
      {[&] { session->changeCategoryOption(0xABCDEF0123456789, false); },
       "change categoryOption 0xabcdef0123456789 0 failed: Role::operation: 100% no kept 4 (status -3, no permission)"},
      {[&] { session->sessionToken(); }, "OVSession: sessionToken not implemented"},
      {[] { OVSession::setImplementationType(-2); }, "unavailable session implementation type -2"}};
  for (const auto& [raise, reason] : cases) {
    used.logged.clear();
    EXPECT_THAT(
        raise, testing::Throws<OVTException>(testing::AllOf(testing::Property(&PlatformException::name, "OVTException"),
                                                            testing::Property(&PlatformException::reason, reason))));
    EXPECT_THAT(used.logged, testing::ElementsAre("Failure: " + reason));
    EXPECT_EQ(OVSession::implementationType(), 1);
  }
}

/// "orvane.category.tty-call" and "orvane.category.TTYCall" both give "orvanecategoryttycall".
std::string letters(const std::string& name) {
  std::string letters;
  std::ranges::copy_if(name, std::back_inserter(letters), [](unsigned char c) { return std::isalpha(c) != 0; });
  std::ranges::transform(letters, letters.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return letters;
}

TEST(OVSession, EveryShortNameGivesTheIdentifierOfItsName) {
  using Get = std::string (OVSession::*)() const;
  using Set = void (OVSession::*)(const std::string&);
  const std::tuple<std::string, Set, Get, const char*> kinds[] = {
      {"category", &OVSession::setCategory, &OVSession::category,
       "Ambient SoloAmbient Playback Record PlayAndRecord MultiRoute Narrava VoiceCommand RingtonePreview Ringtone "
       "VoiceMail PhoneCall TTYCall Alarm PlaybackNoSpeaker EmergencyAlert EmergencyAlert_CanBeMuted Locatron "
       "WaterEjection"},
      {"mode", &OVSession::setMode, &OVSession::mode,
       "Default VoiceChat GameChat VideoRecording Measurement MoviePlayback SpokenAudio VideoChat SpeechRecognition "
       "VoicePrompt Raw VoiceMessages LocatePhone HearingAccessibility Motiongram SOS"}};
  const auto session = OVSession::init();
  for (const auto& [kind, set, get, names] : kinds) {
    std::istringstream words(names);
    for (std::string name; words >> name;) {
      (*session.*set)(name);
      EXPECT_EQ(letters((*session.*get)()), letters("orvane." + kind + "." + name));
    }
  }
}

TEST(OVSession, OptionsReadAndChangeTheirBitsAlone) {
  const std::tuple<bool (OVSession::*)() const, void (OVSession::*)(bool), std::uint64_t> options[] = {
      {&OVSession::mixWithOthers, &OVSession::setMixWithOthers, 0x1},
      {&OVSession::duckOthers, &OVSession::setDuckOthers, 0x2},
      {&OVSession::allowHFP, &OVSession::setAllowHFP, 0x4},
      {&OVSession::defaultToSpeaker, &OVSession::setDefaultToSpeaker, 0x8},
      {&OVSession::mixExceptWithSpokenAudio, &OVSession::setMixExceptWithSpokenAudio, 0x11},
      {&OVSession::allowA2DP, &OVSession::setAllowA2DP, 0x20},
      {&OVSession::allowSkycast, &OVSession::setAllowSkycast, 0x40}};
  const auto session = OVSession::init();
  auto& behind = dynamic_cast<PlatformSession&>(*session->session());
  for (const auto& [get, set, bits] : options) {
    for (std::uint64_t before = 0; before < 0x80; ++before) {
      for (const bool state : {false, true}) {
        ASSERT_EQ(behind.setCategory(category::multiRoute, before), std::nullopt);
        EXPECT_EQ((*session.*get)(), (before & bits) != 0) << "either bit is enough: " << bits << " of " << before;
        (*session.*set)(state);
        EXPECT_EQ(behind.categoryOptions(), state ? before | bits : before & ~bits);
      }
    }
  }
}

/// A session class to which every implementation type can be made available.
struct AnyTypeSession : OVSession {
  using OVSession::setImplementationType;
};

TEST(OVSession, HasNoPlatformSessionOfAnotherImplementationType) {
  const auto primary = OVPrimarySession::init();
  EXPECT_EQ(primary->session(), OVSession::initWithAuxillarySession(false)->session());
  EXPECT_THAT(primary->description(), testing::MatchesRegex("<OVPrimarySession: 0x[0-9a-f]+>"));
  for (const std::int64_t type : {7, 0}) {
    AnyTypeSession::setImplementationType(type, [](std::int64_t) { return true; });
    EXPECT_EQ(OVPrimarySession::init() == nullptr, type == 0);
    const auto session = OVSession::init();
    session->setCategory("Playback");
    session->setMode("Raw");
    session->setDuckOthers(true);
    EXPECT_EQ(session->activate(), session->session());
    session->deactivate();
    EXPECT_EQ(session->category() + session->mode(), "");
    EXPECT_FALSE(session->duckOthers());
  }
  OVSession::setImplementationType(1);
}

TEST(PlatformSession, CategoriesTakeTheOptionsThatMakeSense) {
  const std::pair<const char*, std::uint64_t> cases[] = {
      {category::ambient, 0x73},           {category::soloAmbient, 0x60},   {category::playback, 0x73},
      {category::playbackNoSpeaker, 0x73}, {category::waterEjection, 0x73}, {category::record, 0x4},
      {category::playAndRecord, 0x7F},     {category::multiRoute, 0x7F},    {category::phoneCall, 0x7F}};
  const auto session = current().sessions->makeAuxiliary();
  for (const auto& [name, options] : cases) {
    ASSERT_EQ(session->setCategory(category::playAndRecord, 0x7F), std::nullopt);
    ASSERT_EQ(session->setCategory(name), std::nullopt);
    EXPECT_EQ(session->categoryOptions(), options) << "options that make no sense are dropped from " << name;
    for (std::uint64_t bit = 1; bit < 0x80; bit <<= 1)
      EXPECT_EQ(session->setCategory(name, bit).has_value(), (options & bit) == 0) << name << ' ' << bit;
  }
}

TEST(PlatformSession, RefusalsSayWhatWouldBeRightAndChangeNothing) {
  const std::tuple<const char*, std::uint64_t, const char*> cases[] = {
      {"playback", 0, R"("playback".*case-sensitive.*"orvane\.category\." followed by .* water-ejection$)"},
      {category::record, 0x6, "duckOthers makes no sense with orvane.category.record; .*together with others"},
      {category::playback, 0x4, "allowHFP .*with input, such as"},
      {category::record, 0x20, "allowA2DP .*with output, such as"},
      {category::playback, 0x8, "defaultToSpeaker .*input and output"},
      {category::multiRoute, 0x8000000000000081, "0x8000000000000080; .*0x7f$"}};
  const auto session = current().sessions->makeAuxiliary();
  for (const auto& [name, options, says] : cases) {
    EXPECT_THAT(session->setCategory(name, options)->localizedDescription(), testing::ContainsRegex(says));
    EXPECT_EQ(session->category(), category::playAndRecord);
  }
  EXPECT_THAT(session->setMode("raw")->localizedDescription(),
              testing::ContainsRegex("no mode is named \"raw\".*\"Measurement\".* of default, .*, sos$"));
}

TEST(OVSession, ThreadsShareThePrimarySessionAndTheLogFromTheirFirstUseOn) {
  constexpr unsigned threadCount = 8, rounds = 200;
  std::atomic<bool> inside = false;
  unsigned lines = 0;
  const auto log = current().log;
  log->setSink([&](LogLevel level, std::string_view line) {
    EXPECT_FALSE(inside.exchange(true));
    std::this_thread::yield();
    if (line == "%s") ++lines;
    inside = false;
    // A sink may log a line of its own without a deadlock.
    if (level == LogLevel::error) log->write(LogLevel::notice, "after an error");
  });
  std::barrier begin(threadCount);
  std::uint32_t identifiers[threadCount];
  std::vector<std::jthread> threads;
  for (std::uint32_t& identifier : identifiers) {
    threads.emplace_back([&] {
      begin.arrive_and_wait();
      identifier = dynamic_cast<PlatformSession&>(*OVSession::init()->session()).identifier();
      OVSession::setImplementationType(OVSession::implementationType());
      const auto primary = OVPrimarySession::init();
      EXPECT_EQ(primary->session(), current().sessions->primary());
      primary->setAllowHFP(true);
      for (unsigned round = 0; round < rounds; ++round)
        log->write(round == 0 ? LogLevel::error : LogLevel::warning, "%s");
    });
  }
  threads.clear();
  EXPECT_EQ(lines, threadCount * rounds);
  EXPECT_EQ(std::set(std::begin(identifiers), std::end(identifiers)).size(), threadCount);
  log->setSink([&](LogLevel, std::string_view) { log->setSink({}); });
  log->write(LogLevel::notice, "the sink removes itself");
}

}  // namespace
