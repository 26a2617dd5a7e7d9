// SPDX-License-Identifier: MIT
#include "session/OVSession.h"

#include <syslog.h>

#include <barrier>
#include <cstdarg>
#include <set>
#include <sstream>

#include "platform/Log.h"
#include "platform/Platform.h"
#include "platform/PlatformSession.h"
#include "platform/SessionIdentifiers.h"
#include "session/OVPrimarySession.h"
#include "session/OVThrow.h"
#include "tests/support/Test.h"

/// The last line written to the system's log. The function below replaces the system's `syslog` in this program, so
/// that no line reaches the real log.
static std::string lastSystemLine;
// The C library names the parameters by abbreviations.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" void syslog(int priority, const char* format, ...) {
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  lastSystemLine = std::to_string(priority) + " " + line;
}

namespace orvane::test {
namespace {

using namespace platform;

/// Provides the log in use, and removes its sink at the end of the test.
struct WithLog : testing::Test {
  ~WithLog() override { log->setSink({}); }

  const std::shared_ptr<Log> log = current().log;
};

using OVSessionWithLog = WithLog;

TEST_F(OVSessionWithLog, LogsEachFailureThenRaisesIt) {
  const auto session = OVSession::init();
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { _OVThrowMsg("100%s of %n and %@"); }, "100%s of %n and %@"},
      {[] { OVThrow("start failed", PlatformException("Name", "no %d")); }, "start failed: no %d"},
      {[] { OVThrow("least", INT32_MIN); }, "least: -2147483648"},
      {[&] { session->changeCategoryOption(0xA00000000, true); },
       "change categoryOption 0xa00000000 1 failed: PlatformSession::setCategory: unknown option bits 0xa00000000; "
       "the known bits are 0x7f (status -1, bad parameter)"},
      {[&] { session->sessionToken(); }, "OVSession: sessionToken not implemented"},
      {[] { OVSession::setImplementationType(-2); }, "unavailable session implementation type -2"}};
  std::vector<std::string> errors;
  log->setSink([&](LogLevel level, auto line) { errors.emplace_back(level == LogLevel::error ? line : "no error"); });
  for (const auto& [raise, reason] : cases) {
    EXPECT_THAT(raise, testing::Throws<OVTException>(testing::Property(&PlatformException::reason, reason)));
    EXPECT_THAT(std::exchange(errors, {}), ElementsAre("Failure: " + reason));
    EXPECT_EQ(OVSession::implementationType(), 1);
  }
}

TEST_F(OVSessionWithLog, RaisesItsOwnFailureWhateverTheLogsSinkThrows) {
  const std::function<void()> throwers[] = {[] { throw std::runtime_error("the sink is full"); },
                                            [] { OVThrow("a failure inside the sink", -1); }, [] { throw 1; }};
  for (const auto& thrower : throwers) {
    bool hasThrown = false;
    log->setSink([&](LogLevel, std::string_view) {
      if (!std::exchange(hasThrown, true)) thrower();
    });
    EXPECT_EQ(reasonOf([] { OVThrow("start failed", -10); }), "start failed: -10");
    EXPECT_EQ(lastSystemLine, std::to_string(LOG_ERR) + " Failure: start failed: -10");
  }
}

TEST_F(WithLog, GoesToTheSystemUnlessItHasASink) {
  log->setSink([](auto, auto) {});
  log->write(LogLevel::error, "unseen");
  log->setSink({});
  for (const auto& [level, priority] :
       {std::pair(LogLevel::error, LOG_ERR), {LogLevel::warning, LOG_WARNING}, {LogLevel::notice, LOG_NOTICE}}) {
    log->write(level, "100%s");
    EXPECT_EQ(lastSystemLine, std::to_string(priority) + " 100%s");
  }
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
      std::string identifier = (*session.*get)();
      std::erase(identifier, '-');
      std::erase(name, '_');
      EXPECT_STRCASEEQ(identifier.c_str(), ("orvane." + kind + "." + name).c_str());
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
  for (const auto& [get, set, bits] : options)
    for (std::uint64_t before = 0; before < 0x80; ++before)
      for (const bool state : {false, true}) {
        ASSERT_EQ(behind.setCategory(category::multiRoute, before), std::nullopt);
        EXPECT_EQ((*session.*get)(), (before & bits) != 0) << "either bit is enough: " << bits << " of " << before;
        (*session.*set)(state);
        EXPECT_EQ(behind.categoryOptions(), state ? before | bits : before & ~bits);
      }
}

/// A session class that makes the protected `setImplementationType` public, so that a test can make any implementation
/// type available.
struct AnyTypeSession : OVSession {
  using OVSession::setImplementationType;
};

TEST(OVSession, HasOneImplementationTypeAndNoPlatformSessionOfAnother) {
  for (const std::int64_t type : {-1, 0, 1, 2, 7}) EXPECT_EQ(OVSession::isImplementationTypeAvailable(type), type == 1);
  EXPECT_THAT(OVPrimarySession::init()->description(), MatchesRegex("<OVPrimarySession: 0x[0-9a-f]+>"));
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
    EXPECT_THAT(session->setCategory(name, options)->localizedDescription(), ContainsRegex(says));
    EXPECT_EQ(session->category(), category::playAndRecord);
  }
  EXPECT_THAT(session->setMode("raw")->localizedDescription(),
              ContainsRegex("no mode is named \"raw\".*\"Measurement\".* of default, .*, sos$"));
}

TEST_F(OVSessionWithLog, ThreadsShareThePrimarySessionAndTheLogFromTheirFirstUseOn) {
  constexpr unsigned threadCount = 8, rounds = 200;
  unsigned lines = 0;
  log->setSink([&](LogLevel level, std::string_view line) {
    const unsigned before = lines;
    std::this_thread::yield();  // where another line came in meanwhile, one of the two is lost from the count
    lines = before + (line == "%s" ? 1 : 0);
    // A sink may itself write a log line without a deadlock.
    if (level == LogLevel::error) log->write(LogLevel::notice, "after an error");
  });
  std::barrier begin(threadCount);
  std::uint32_t identifiers[threadCount];
  std::vector<std::jthread> threads;
  for (std::uint32_t& identifier : identifiers)
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
  threads.clear();
  EXPECT_EQ(lines, threadCount * rounds);
  EXPECT_EQ(std::set(std::begin(identifiers), std::end(identifiers)).size(), threadCount);
  log->setSink([&](LogLevel, std::string_view) { log->setSink({}); });
  log->write(LogLevel::notice, "the sink removes itself");
}

}  // namespace
}  // namespace orvane::test
