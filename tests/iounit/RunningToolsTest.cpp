// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "iounit/AOMeter.h"
#include "iounit/AORecord.h"
#include "iounit/OVTestTone.h"
#include "platform/FileReport.h"
#include "platform/Hosts.h"
#include "platform/UnitService.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

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
    for (const unsigned milliseconds : {0U, 1U, 2U, 23U}) {
      for (const auto& tool : tools) tool->start();
      usleep(milliseconds * 1000);
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

/// Records until it is killed. A second unit tells through shared memory how many frames were captured.
[[noreturn]] void recordForEver(const std::string& path, std::atomic<std::uint64_t>& captured) {
  use(makeSimulatedHost("mic=noise,inputs=2"));
  const auto record = AORecord::initWithFilePath(path);
  record->start();
  const auto counter = OVIOUnit::init();
  counter->wrapperUnit()->setInputEnabled(true);
  counter->wrapperUnit()->setInputHandler([&](auto&, auto&, std::uint32_t frames, auto) { captured += frames; });
  counter->initializeAU();
  counter->start();
  for (;;) pause();
}

TEST(RunningTools, LoseHalfASecondOfARecordingAtMostWhenTheProcessIsKilled) {
  void* const shared = mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  const TemporaryFolder folder;
  for (const std::uint64_t end : {27'000U, 40'000U, 53'000U}) {
    auto& captured = *new (shared) std::atomic<std::uint64_t>(0);
    const std::string path = folder.file(std::to_string(end) + ".wav");
    const pid_t child = fork();
    if (child == 0) recordForEver(path, captured);
    while (captured < end && waitpid(child, nullptr, WNOHANG) == 0) usleep(1000);
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child) << "ended before it was killed";
    const std::string judge = "least=" + std::to_string(captured - 24'000) + " file=" + path + R"(
        [ $(soxi -s $file) -ge $least ] && ! sox $file -n stat 2>&1 | grep WARN &&
        [ $(ffprobe -v error -show_entries stream=duration_ts -of csv=p=0 $file) -ge $least ])";
    EXPECT_EQ(std::system(judge.c_str()), 0) << judge;
  }
  munmap(shared, sizeof(std::uint64_t));
}

}  // namespace
}  // namespace orvane::test
