#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "tests/tool/Program.h"

namespace orvane::tests {
namespace {

/// A run that goes on until something ends it: the meter prints, so a test knows when it is under way.
class Running {
 public:
  Running() : mProgram(ORVANE_TOOL, {"meter", "--json", "--simulate", "mic=tone:440:0.5,speaker=" + mFile}) {
    mProgram.awaitOutput(41);
  }

  Program& program() { return mProgram; }
  std::string file() const { return mFile; }

 private:
  TemporaryFolder mFolder;
  std::string mFile = mFolder.path("speaker.wav");
  Program mProgram;
};

void expectCleanEnd(const Ended& ended, const std::string& file) {
  EXPECT_EQ(ended.status, 0);
  EXPECT_NE(ended.errors.find("\"ended\":\"signal\""), std::string::npos) << ended.errors;
  // What independent readers make of the file, which nobody completes if the run does not.
  const Ended headers = run("sndfile-info", {file});
  EXPECT_EQ(headers.status, 0);
  EXPECT_EQ(headers.output.find("should be"), std::string::npos) << headers.output;
  const Ended frames = run("soxi", {"-s", file});
  EXPECT_NE(ended.errors.find("\"frames\":" + frames.output.substr(0, frames.output.find('\n')) + ","),
            std::string::npos)
      << "the file holds " << frames.output << "but the run reports " << ended.errors;
}

TEST(Signal, EndsARunCleanly) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Running running;
    running.program().send(signal);
    expectCleanEnd(running.program().finish(), running.file());
  }
}

TEST(Signal, CompletesARecording) {
  const TemporaryFolder folder;
  const std::string file = folder.path("take.wav");
  Program program(ORVANE_TOOL, {"record", file, "--json", "--simulate", "mic=tone:440:0.5,inputs=2"});
  std::error_code notYet;
  while (std::filesystem::file_size(file, notYet) < 30'000 || notYet) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  program.send(SIGINT);
  Ended ended = program.finish();
  std::swap(ended.output, ended.errors);  // The class prints nothing, so the object has standard output.
  expectCleanEnd(ended, file);
}

TEST(Signal, AClosedPipeEndsARunCleanly) {
  Running running;
  running.program().closeOutput();
  expectCleanEnd(running.program().finish(), running.file());
}

TEST(Signal, EndsARunWhoseOutputNobodyReads) {
  const TemporaryFolder folder;
  const std::string file = folder.path("speaker.wav");
  Program program(ORVANE_TOOL, {"meter", "--json", "--simulate", "inputs=64,slice=16,mic=noise,speaker=" + file});
  program.awaitFullPipe();
  program.send(SIGTERM);
  program.awaitEnd();
  expectCleanEnd(program.finish(), file);
}

TEST(Signal, ComesAtAnyTimeOfAShortRun) {
  // Signals that fall into the start or the end of a run must neither hang it nor leave a broken file.
  const TemporaryFolder folder;
  std::vector<std::unique_ptr<Program>> programs;
  const auto file = [&folder](std::size_t round) { return folder.path(std::to_string(round) + ".wav"); };
  for (std::size_t round = 0; round < 12; ++round) {
    programs.push_back(std::make_unique<Program>(
        ORVANE_TOOL, Arguments{"meter", "--seconds", "0.05", "--simulate", "speaker=" + file(round)}));
  }
  for (std::size_t round = 0; round < programs.size(); ++round) {
    programs[round]->awaitOutput(round % 2 == 0 ? 41 : 82);
    programs[round]->send(SIGTERM);
  }
  for (std::size_t round = 0; round < programs.size(); ++round) {
    EXPECT_EQ(programs[round]->finish().status, 0);
    EXPECT_EQ(readSound(file(round)).channels, 2);
  }
}

TEST(Signal, SecondsEndARunAtRealPace) {
  const TemporaryFolder folder;
  const std::string file = folder.path("tone.wav");
  const Ended ended = runTool({"tone", "--seconds", "0.3", "--json", "--simulate", "speaker=" + file});
  EXPECT_EQ(ended.status, 0);
  EXPECT_NE(ended.output.find("\"ended\":\"seconds\""), std::string::npos) << ended.output;
  EXPECT_EQ(readSound(file).samples.size(), 2 * 57 * 256U);
}

}  // namespace
}  // namespace orvane::tests
