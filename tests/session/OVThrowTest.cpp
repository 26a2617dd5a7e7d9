#include "session/OVThrow.h"

#include <functional>

#include "tests/support/ScriptedRoles.h"

namespace {

using orvane::platform::LogLevel;
using orvane::platform::PlatformError;
using orvane::platform::PlatformException;
using orvane::test::ScriptedLog;

TEST(OVThrow, LogsTheMessageThenRaisesIt) {
  const PlatformError busy(-3, "Role::operation", "it is busy"), silent(-3, "Role::operation", "");
  const struct {
    std::function<void()> raise;
    std::string reason;
  } cases[] = {{[] { _OVThrowMsg("100%s of %n and %@"); }, "100%s of %n and %@"},
               {[&] { OVThrow("activate failed", busy); }, "activate failed: it is busy"},
               {[&] { OVThrow("activate failed", silent); }, "activate failed: "},
               {[] { OVThrow("start failed", PlatformException("Name", "no %d")); }, "start failed: no %d"},
               {[] { OVThrow("start failed", PlatformException("Name", "")); }, "start failed: "},
               {[] { OVThrow("%d", -50); }, "%d: -50"},
               {[] { OVThrow("made nothing", 0); }, "made nothing: 0"},
               {[] { OVThrow("characters", 0x6C70636D); }, "characters: 1819304813"},
               {[] { OVThrow("least", INT32_MIN); }, "least: -2147483648"}};
  const auto log = std::make_shared<testing::StrictMock<ScriptedLog>>();
  const orvane::test::UsedPlatform used(log);
  for (const auto& [raise, reason] : cases) {
    bool raised = false;
    EXPECT_CALL(*log, write(LogLevel::error, "Failure: " + reason)).WillOnce([&] { EXPECT_FALSE(raised); });
    try {
      raise();
    } catch (const PlatformException& exception) {
      raised = true;
      EXPECT_NE(dynamic_cast<const OVTException*>(&exception), nullptr);
      EXPECT_EQ(exception.name(), "OVTException");
      EXPECT_EQ(exception.reason(), reason);
    }
    EXPECT_TRUE(raised) << reason;
    testing::Mock::VerifyAndClearExpectations(log.get());
  }
}

}  // namespace
