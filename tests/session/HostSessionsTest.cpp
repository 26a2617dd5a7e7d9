#include "platform/host/HostSessions.h"

#include <gmock/gmock.h>

#include <functional>

#include "platform/SessionIdentifiers.h"
#include "platform/host/SessionPolicy.h"

namespace {

using namespace orvane::platform;
using orvane::host::HostSessions;

TEST(HostSessions, BeginWithEverythingAllowedAndAreFoundWhileTheyLive) {
  HostSessions sessions;
  auto first = sessions.makeAuxiliary();
  const auto second = sessions.makeAuxiliary();
  std::uint32_t identifier = 1;
  for (const auto& session : {sessions.primary(), first, second}) {
    EXPECT_EQ(session->category() + session->mode(), std::string(category::playAndRecord) + mode::defaultMode);
    EXPECT_EQ(session->categoryOptions(), 0U);
    EXPECT_FALSE(session->isActive());
    EXPECT_EQ(session->identifier(), identifier);
    EXPECT_EQ(sessions.find(identifier++), session);
  }
  first.reset();
  for (const std::uint32_t none : {0U, 2U, 4U}) EXPECT_EQ(sessions.find(none), nullptr) << none;
  EXPECT_EQ(sessions.makeAuxiliary()->identifier(), 4U) << "an identifier is not given out twice";
}

TEST(HostSessions, CategoriesTakeTheOptionsThatMakeSense) {
  const struct {
    const char* category;
    bool input;
    bool output;
    std::uint64_t options;
  } cases[] = {{category::ambient, false, true, 0x73},       {category::soloAmbient, false, true, 0x60},
               {category::playback, false, true, 0x73},      {category::playbackNoSpeaker, false, true, 0x73},
               {category::waterEjection, false, true, 0x73}, {category::record, true, false, 0x4},
               {category::playAndRecord, true, true, 0x7F},  {category::multiRoute, true, true, 0x7F},
               {category::phoneCall, true, true, 0x7F}};
  HostSessions sessions;
  const auto session = sessions.makeAuxiliary();
  for (const auto& [name, input, output, options] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(orvane::host::categoryHasInput(name), input);
    EXPECT_EQ(orvane::host::categoryHasOutput(name), output);
    ASSERT_EQ(session->setCategory(category::playAndRecord, 0x7F), std::nullopt);
    ASSERT_EQ(session->setCategory(name), std::nullopt);
    EXPECT_EQ(session->categoryOptions(), options) << "options that make no sense are dropped";
    for (std::uint64_t bit = 1; bit < 0x80; bit <<= 1)
      EXPECT_EQ(session->setCategory(name, bit).has_value(), (options & bit) == 0) << bit;
  }
  EXPECT_FALSE(orvane::host::categoryHasInput("Record"));
  EXPECT_FALSE(orvane::host::categoryHasOutput(""));
}

TEST(HostSessions, RefusalsSayWhatWouldBeRightAndChangeNothing) {
  const struct {
    std::function<std::optional<PlatformError>(PlatformSession&)> call;
    const char* says;
  } cases[] = {
      {[](auto& s) { return s.setCategory("playback"); },
       R"("playback".*case-sensitive.*"orvane\.category\." followed by one of ambient, .*, water-ejection$)"},
      {[](auto& s) { return s.setCategory("Orvane.category.playback", 0); }, "no category .*Orvane.category.playback"},
      {[](auto& s) { return s.setCategory(mode::raw); }, "no category is named \"orvane.mode.raw\""},
      {[](auto& s) { return s.setMode("raw"); }, "no mode is named \"raw\".*\"Measurement\".* of default, .*, sos$"},
      {[](auto& s) { return s.setCategory(category::record, 0x6); },
       "duckOthers makes no sense with orvane.category.record; .*together with others"},
      {[](auto& s) { return s.setCategory(category::soloAmbient, 0x1); }, "mixWithOthers .*orvane.category.ambient"},
      {[](auto& s) { return s.setCategory(category::playback, 0x4); }, "allowHFP .*with input, such as"},
      {[](auto& s) { return s.setCategory(category::record, 0x20); }, "allowA2DP .*with output, such as"},
      {[](auto& s) { return s.setCategory(category::playback, 0x8); }, "defaultToSpeaker .*input and output"},
      {[](auto& s) { return s.setCategory(category::multiRoute, 0x8000000000000081); }, "0x8000000000000080; .*0x7f$"}};
  HostSessions sessions;
  const auto session = sessions.primary();
  ASSERT_EQ(session->setCategory(category::multiRoute, 0x25), std::nullopt);
  ASSERT_EQ(session->setMode(mode::sos), std::nullopt);
  for (const auto& [call, says] : cases) {
    const auto error = call(*session);
    ASSERT_TRUE(error) << says;
    EXPECT_THAT(error->localizedDescription(), testing::ContainsRegex(says));
    EXPECT_EQ(session->category(), category::multiRoute);
    EXPECT_EQ(session->categoryOptions(), 0x25U);
    EXPECT_EQ(session->mode(), mode::sos);
  }
}

}  // namespace
