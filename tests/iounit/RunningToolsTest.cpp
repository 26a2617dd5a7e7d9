#include <gtest/gtest.h>

#include <string>

#include "iounit/AOMeter.h"
#include "iounit/OVTestTone.h"
#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/Scheduler.h"

namespace orvane::test {
namespace {

using namespace platform;

/// A device that calls back at real pace, on a thread of its own, every 1.3 ms.
class RunningToolsTest : public testing::Test {
 protected:
  void SetUp() override {
    use(makeSimulatedHost("mic=tone:440:0.5,inputs=2,slice=64"));
    testing::internal::CaptureStdout();
  }
  void TearDown() override { use({}); }

  static void letRun(int milliseconds) {
    current().scheduler->makeWaiter()->wait(std::chrono::milliseconds(milliseconds));
  }
};

TEST_F(RunningToolsTest, StartAgainWhileTheDeviceCallsBack) {
  auto meter = AOMeter::init();
  auto tone = OVTestTone::init();
  for (int i = 0; i < 50; ++i) {
    tone->setFrequency(300.0 + i);
    meter->start();
    tone->start();
    letRun(i % 7);
  }
  letRun(50);
  meter->stop();
  const std::string lines = testing::internal::GetCapturedStdout();
  EXPECT_NE(lines, "");
  EXPECT_EQ(lines.size() % 83, 0U) << "a line is two bars";
}

TEST_F(RunningToolsTest, ReleaseWhileTheDeviceCallsBack) {
  for (int i = 0; i < 50; ++i) {
    auto meter = AOMeter::init();
    auto tone = OVTestTone::init();
    meter->start();
    tone->start();
    const auto heldByTheCaller = meter->wrapperUnit();
    letRun(i % 7);
    meter.reset();
    tone.reset();
  }
  EXPECT_NE(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace orvane::test
