// SPDX-License-Identifier: MIT

#include "iounit/AOMeter.h"
#include "iounit/AORecord.h"
#include "iounit/OVTestTone.h"
#include "platform/FileReport.h"
#include "platform/Hosts.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace platform;

TEST(RunningTools, StartAgainAndAreReleasedWhileTheDeviceCallsBack) {
  use(makeSimulatedHost("mic=tone:440:0.5,inputs=2,slice=64"));
  const TemporaryFolder folder;
  const std::string path = folder.file("take.wav");
  testing::internal::CaptureStdout();
  for (int round = 0; round < 10; ++round) {
    std::vector<std::shared_ptr<OVIOUnit>> tools{AOMeter::init(), OVTestTone::init(), AORecord::initWithFilePath(path)};
    for (const auto pause : {0ms, 1ms, 2ms, 23ms}) {
      for (const auto& tool : tools) tool->start();
      std::this_thread::sleep_for(pause);
    }
    const auto heldByTheCaller = tools[0]->wrapperUnit();
    tools.clear();
    const std::size_t frames = readSound(path).frames();
    ASSERT_EQ(current().fileReport->writtenFiles().back().frames, frames);
    EXPECT_TRUE(frames >= 64 && frames % 64 == 0) << frames;
  }
  const std::string lines = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(!lines.empty() && lines.size() % 83 == 0) << "a line is two bars";
  use({});
}

}  // namespace
}  // namespace orvane::test
