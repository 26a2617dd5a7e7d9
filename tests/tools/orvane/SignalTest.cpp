// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <list>

#include "tests/tools/orvane/Program.h"

namespace orvane::test {
namespace {

/// Runs of the tool in real time that end only by a signal, with a file to record to and a pipe whose content is not
/// read.
class Signal : public testing::Test {
 protected:
  Signal() {
    mkfifo(mPipe.c_str(), 0600);
    mReader = open(mPipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  }
  ~Signal() override { close(mReader); }

  int heldByPipe(int bytes = 0) const { return ioctl(mReader, FIONREAD, &bytes) == 0 ? bytes : 0; }

  /// Waits until the pipe is full. A pipe stores whole pages and may leave the ends of pages unused; it therefore
  /// counts as full if it is more than half full and its content has stopped growing.
  void awaitFullPipe() const {
    await([this] {
      const int before = heldByPipe();
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      return before > fcntl(mReader, F_GETPIPE_SZ) / 2 && heldByPipe() == before;
    });
  }

  void expectCleanEnd(const Ended& ended) const {
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_THAT(ended.output + ended.errors,
                ContainsRegex(R"("ended":"signal",.*"frames":)" + framesOfWholeFile(mFile) + ","));
  }

  const TemporaryFolder mFolder;
  const std::string mPipe = mFolder.file("pipe");
  const std::string mFile = mFolder.file("filled.wav");
  const std::string mMeter = ORVANE_TOOL " meter --json --simulate speaker=" + mFile + ",";
  int mReader = -1;
};

TEST_F(Signal, EndsARunCleanly) {
  const std::string meter = mMeter + "mic=noise";
  const std::string record = ORVANE_TOOL " record " + mFile + " --json --simulate mic=noise,inputs=2 >&2";
  for (const auto& [command, signal] :
       {std::pair{meter, SIGINT}, {meter, SIGTERM}, {record, SIGINT}, {record, SIGHUP}}) {
    std::filesystem::remove(mFile);
    Program program(command);
    await([&] { return readFile(mFile).size() > 30'000; });
    // A program that forwards a signal to a process and to its group delivers the signal twice; this must count as one
    // request.
    for (int copy = 0; copy < 2; ++copy) {
      program.send(signal);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    expectCleanEnd(program.finish());
  }
}

TEST_F(Signal, AKilledRunLeavesFilesThatOtherProgramsRead) {
  const std::string take = mFolder.file("take.wav");
  Program program(ORVANE_TOOL " record " + take + " --simulate mic=noise,speaker=" + mFile);
  for (const std::string& file : {mFile, take}) await([&] { return readFile(file).size() > 30'000; });
  EXPECT_GT(readSound(mFile).frames(), 1000U) << "while it grows";
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  program.send(SIGKILL);
  EXPECT_EQ(program.finish().status, 128 + SIGKILL);
  for (const std::string& file : {mFile, take}) EXPECT_GT(std::stoi(framesOfWholeFile(file)), 1000) << file;
}

TEST_F(Signal, EndsARunCleanlyInTheMiddleOfAFault) {
  // Slices last a quarter of a second, so that a stall would be detected only after 2.5 s.
  const std::string scenario = mFolder.file("scenario.json");
  const std::string device = "rate=16000,slice=4096,speaker=" + mFile + ",scenario=" + scenario;
  for (const std::string fault :
       {R"("stalled")", R"("discontinuity","frames":10000000)", R"("microphone-unplugged")"}) {
    std::filesystem::remove(mFile);
    std::ofstream(scenario) << R"({"faults":[{"at":0.3,"fault":)" << fault << "}]}";
    Program program(ORVANE_TOOL " tone --json --simulate " + device);
    // The speaker's file exists once the device has started, and the fault is in force by the end of the second slice.
    await([&] { return std::filesystem::exists(mFile); });
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    program.send(SIGINT);
    expectCleanEnd(program.finish());
  }
}

/// Sounds play through a service that keeps the device running, also while the device makes no callbacks.
TEST_F(Signal, EndsASystemSoundInTheMiddleOfAFault) {
  const std::string scenario = mFolder.file("scenario.json");
  const std::string device = "rate=16000,slice=4096,speaker=" + mFile + ",scenario=" + scenario;
  std::ofstream(scenario) << R"({"faults":[{"at":0.3,"fault":"discontinuity","frames":10000000}]})";
  for (const std::string command : {"sound 11", "sound 11 --wait"}) {
    std::filesystem::remove(mFile);
    Program program("env XDG_DATA_DIRS=/nonexistent " ORVANE_TOOL " --json --simulate " + device + " " + command);
    await([&] { return std::filesystem::exists(mFile); });
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    const auto begin = std::chrono::steady_clock::now();
    program.send(SIGINT);
    expectCleanEnd(program.finish());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8)) << "long before it counts as stalled";
  }
}

TEST_F(Signal, AClosedPipeEndsARunCleanly) {
  Program metering(mMeter + "mic=tone:440:0.5 >" + mPipe);
  await([&] { return heldByPipe() >= 41; });
  close(std::exchange(mReader, -1));
  expectCleanEnd(metering.finish());
}

/// A terminal whose text the test reads.
class Terminal {
 public:
  Terminal() {
    EXPECT_TRUE(grantpt(mMaster) == 0 && unlockpt(mMaster) == 0);
    mHeld = open(name(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  ~Terminal() {
    close(mHeld);
    close(mMaster);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  const char* name() const { return ptsname(mMaster); }
  /// Returns the text that has been printed so far.
  const std::string& shown() {
    for (char byte = 0; read(mMaster, &byte, 1) == 1;) mShown += byte;
    return mShown;
  }

 private:
  const int mMaster = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  int mHeld = -1;  ///< Kept open, so that the terminal keeps the printed text.
  std::string mShown;
};

TEST_F(Signal, ARunOnATerminalEndsItsLine) {
  for (const std::string seconds : {"", " --seconds 0.01"}) {
    Terminal terminal;
    Program metering(mMeter + "mic=tone:440:1" + seconds + " >" + terminal.name());
    await([&] { return terminal.shown().size() >= 41; });
    if (seconds.empty()) metering.send(SIGINT);
    const Ended ended = metering.finish();
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.errors, StartsWith(R"({"command")"));
    EXPECT_THAT(terminal.shown(), EndsWith(" \r\r\n"));
  }
}

TEST_F(Signal, EndsALongSystemSound) {
  const std::string theme = mFolder.file("sounds/freedesktop/stereo");
  std::filesystem::create_directories(theme);
  writeSound(theme + "/bell.wav", {8000, 1, std::vector<float>(8000 * 30, 0.1F)});
  for (const std::string options : {"", " --wait"}) {
    std::filesystem::remove(mFile);
    Terminal terminal;
    Program playing("env XDG_DATA_DIRS=" + mFolder.path().string() +
                    " " ORVANE_TOOL " sound 1 --json --simulate speaker=" + mFile + options + " 2>" + terminal.name());
    await([&] { return terminal.shown().find("ends with Ctrl-C") != std::string::npos; });
    EXPECT_THAT(terminal.shown(), HasSubstr("playing system sound 1"));
    await([&] { return readFile(mFile).size() > 30'000; });
    playing.send(SIGINT);
    expectCleanEnd(playing.finish());
    EXPECT_LT(readSound(mFile).frames(), 48000U * 15) << "not to its end";
  }
}

TEST_F(Signal, AClosedStandardErrorChangesNothing) {
  const std::string scenario = mFolder.file("scenario.json");
  std::ofstream(scenario) << R"({"faults":[{"at":0.1,"fault":"discontinuity","frames":100}]})";
  close(std::exchange(mReader, open("/dev/null", O_RDONLY | O_CLOEXEC)));
  const std::string tool = ORVANE_TOOL " --verbose --json --simulate mic=noise,scenario=" + scenario;
  // The shell opens the pipe for reading and writing, and then closes its reading end.
  Program recording("sh -c 'exec 3<>" + mPipe + "; exec 2>" + mPipe + "; exec 3<&-; exec " + tool + " record " + mFile +
                    " --seconds 0.5'");
  const Ended ended = recording.finish();
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_THAT(ended.output,
              HasSubstr(R"("ended":"seconds","seconds":0.5,"frames":24000,"slice":256,"discontinuities":1)"));
  EXPECT_EQ(framesOfWholeFile(mFile), "24000");
}

TEST_F(Signal, AStoppedProcessLosesFramesAndSaysSo) {
  Program recording(ORVANE_TOOL " --json --simulate mic=noise record " + mFile);
  await([&] { return readFile(mFile).size() > 30'000; });
  recording.send(SIGSTOP);
  std::this_thread::sleep_for(std::chrono::milliseconds(3000));
  recording.send(SIGCONT);
  const auto before = readFile(mFile).size();
  await([&] { return readFile(mFile).size() > before + 30'000; });
  recording.send(SIGINT);
  const Ended ended = recording.finish();
  expectCleanEnd(ended);
  EXPECT_THAT(ended.output, HasSubstr(R"("discontinuities":1,"overruns":0)"));
  EXPECT_THAT(ended.errors, HasSubstr("frames are missing in 1 place"));
}

TEST_F(Signal, EndsARunWhoseOutputNobodyReads) {
  for (const std::string device : {"inputs=64,slice=16,mic=noise", "mic=noise,pace=fast"}) {
    Program metering(mMeter + device + " >" + mPipe);
    awaitFullPipe();
    metering.send(SIGTERM);
    expectCleanEnd(metering.finish());
    for (char byte = 0; read(mReader, &byte, 1) > 0;) continue;
  }
}

TEST_F(Signal, EndsTheProcessTheSecondTimeWhereTheFirstCannot) {
  const int writer = open(mPipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  while (write(writer, mPipe.data(), 1) > 0) continue;
  Program waiting(ORVANE_TOOL " --simulate '' device >" + mPipe);
  for (int time = 0; time < 2; ++time) {
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    waiting.send(SIGTERM);
  }
  EXPECT_EQ(waiting.finish().status, 128 + SIGTERM);
  close(writer);
}

TEST_F(Signal, ComesAtAnyTimeOfAShortRun) {
  // A signal during the start or the end of a run must neither make the run hang nor leave a damaged file.
  std::list<Program> programs;
  const auto speaker = [&] { return mFolder.file(std::to_string(programs.size())); };
  while (programs.size() < 12)
    programs.emplace_back(ORVANE_TOOL " meter --seconds 0.05 --simulate speaker=" + speaker());
  for (std::size_t bars = 0; const Program& program : programs) {
    await([&] { return program.output().size() >= 41 + bars; });
    program.send(SIGTERM);
    bars = 41 - bars;
  }
  for (; !programs.empty(); programs.pop_back()) {
    EXPECT_EQ(programs.back().finish().status, 0);
    EXPECT_EQ(readSound(mFolder.file(std::to_string(programs.size() - 1))).channels, 2);
  }
}

}  // namespace
}  // namespace orvane::test
