#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "iounit/AOMeter.h"
#include "iounit/AORecord.h"
#include "iounit/OVTestTone.h"
#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/Report.h"
#include "platform/Scheduler.h"
#include "platform/UnitService.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane::test {
namespace {

using namespace platform;

/// A device that calls back at real pace, on a thread of its own.
class RunningToolsTest : public testing::Test {
 protected:
  void TearDown() override { use({}); }

  static void letRun(int milliseconds) {
    current().scheduler->makeWaiter()->wait(std::chrono::milliseconds(milliseconds));
  }

  TemporaryFolder folder;
};

TEST_F(RunningToolsTest, StartAgainAndAreReleasedWhileTheDeviceCallsBack) {
  use(makeSimulatedHost("mic=tone:440:0.5,inputs=2,slice=64"));
  const std::string path = folder.file("take.wav");
  testing::internal::CaptureStdout();
  for (int round = 0; round < 10; ++round) {
    auto meter = AOMeter::init();
    auto tone = OVTestTone::init();
    auto record = AORecord::initWithFilePath(path);
    for (int start = 0; start < 4; ++start) {
      meter->start();
      tone->start();
      record->start();
      letRun(start);
    }
    letRun(20);
    const auto heldByTheCaller = meter->wrapperUnit();
    meter.reset();
    tone.reset();
    record.reset();
    const Sound sound = readSound(path);
    ASSERT_EQ(current().report->writtenFile()->frames, sound.frames());
    EXPECT_GE(sound.frames(), 64U);
    EXPECT_EQ(sound.frames() % 64, 0U);
  }
  const std::string lines = testing::internal::GetCapturedStdout();
  EXPECT_NE(lines, "");
  EXPECT_EQ(lines.size() % 83, 0U) << "a line is two bars";
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

/// What a command prints.
std::string printed(const std::string& command) {
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  for (int character = 0; (character = std::fgetc(pipe)) != EOF;) text += static_cast<char>(character);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return text;
}

TEST_F(RunningToolsTest, AKilledProcessLosesHalfASecondOfItsRecordingAtMost) {
  void* const shared = mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  for (const std::uint64_t end : {27'000U, 40'000U, 53'000U}) {
    auto& captured = *new (shared) std::atomic<std::uint64_t>(0);
    const std::string path = folder.file(std::to_string(end) + ".wav");
    const pid_t child = fork();
    if (child == 0) recordForEver(path, captured);
    while (captured < end && waitpid(child, nullptr, WNOHANG) == 0) usleep(1000);
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child) << "ended before it was killed";

    const std::uint64_t least = captured - 24'000;
    EXPECT_GE(std::stoull(printed("soxi -s " + path)), least);
    EXPECT_GE(std::stoull(printed("ffprobe -v error -show_entries stream=duration_ts -of csv=p=0 " + path)), least);
    EXPECT_EQ(printed("sox " + path + " -n stat 2>&1").find("WARN"), std::string::npos);
  }
  munmap(shared, sizeof(std::uint64_t));
}

}  // namespace
}  // namespace orvane::test
