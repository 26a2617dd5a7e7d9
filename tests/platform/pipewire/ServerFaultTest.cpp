// SPDX-License-Identifier: MIT

// Runs of the tool during which the server, its objects or its settings go or change.

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <tuple>

#include "tests/platform/pipewire/PrivateServer.h"

namespace orvane::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// A run of the tool that is under way.
class ToolRun {
 public:
  explicit ToolRun(const std::string& arguments) : mProgram(ORVANE_TOOL " --json " + arguments) {
    await([] { return run("pw-link -l").output.find("orvane:") != std::string::npos; });
    std::this_thread::sleep_for(300ms);
  }

  Ended finish() { return mProgram.finish(); }
  Ended interrupt() {
    mProgram.send(SIGINT);
    return finish();
  }
  void send(int signal) const { mProgram.send(signal); }

 private:
  Program mProgram;
};

/// Everything that the run says, wherever its class lets the JSON object go.
std::string said(const Ended& ended) {
  return ended.output + ended.errors;
}

struct FaultCase {
  std::string command;
  int signal;
  std::string reason;
};
void PrintTo(const FaultCase& each, std::ostream* stream) {
  *stream << each.command << ", signal " << each.signal;
}
class ServerFault : public testing::TestWithParam<FaultCase> {};

TEST_P(ServerFault, EndsTheRunSoonWithItsReason) {
  PrivateServer server;
  const std::string file = server.file("recorded.wav");
  const bool records = GetParam().command.ends_with("record");
  ToolRun tool(GetParam().command + (records ? " " + file : ""));
  const auto before = std::chrono::steady_clock::now();
  server.send(GetParam().signal);
  const Ended ended = tool.finish();
  EXPECT_LT(std::chrono::steady_clock::now() - before, 2s);
  EXPECT_EQ(ended.status, 1) << ended;
  EXPECT_THAT(said(ended), HasSubstr(R"("ended":"failed","error":")" + GetParam().reason));
  EXPECT_THAT(said(ended), testing::Not(HasSubstr(R"("seconds":0.0)")));
  if (records) {
    EXPECT_GT(std::stoi(framesOfWholeFile(file)), 4800);
  }
  server.send(SIGCONT);
}

INSTANTIATE_TEST_SUITE_P(Tool, ServerFault,
                         testing::Values(FaultCase{"tone", SIGKILL, "the sound server was lost"},
                                         FaultCase{"meter", SIGKILL, "the sound server was lost"},
                                         FaultCase{"record", SIGKILL, "the sound server was lost"},
                                         FaultCase{"playthru", SIGKILL, "the sound server was lost"},
                                         FaultCase{"queue record", SIGKILL, "the sound server was lost"},
                                         FaultCase{"queue record", SIGSTOP, "the device stalled"},
                                         FaultCase{"tone", SIGSTOP, "the device stalled"},
                                         FaultCase{"meter", SIGSTOP, "the device stalled"},
                                         FaultCase{"record", SIGSTOP, "the device stalled"},
                                         FaultCase{"playthru", SIGSTOP, "the device stalled"}),
                         [](const auto& each) {
                           std::string name = each.param.command;
                           std::erase(name, ' ');
                           return name + (each.param.signal == SIGKILL ? "Killed" : "Frozen");
                         });

TEST(ServerChange, AServerThatIsFrozenOrAbsentAtTheStartIsUnavailable) {
  PrivateServer server;
  server.send(SIGSTOP);
  const Ended frozen = runTool("tone");
  EXPECT_EQ(frozen.status, 77);
  EXPECT_THAT(frozen.errors, HasSubstr("pipewire-0 does not answer; --simulate works without a sound server"));
  server.kill();
  const Ended absent = runTool("--json meter");
  EXPECT_EQ(absent.status, 77);
  EXPECT_THAT(absent.errors, HasSubstr("orvane: no sound server at " + server.file("pipewire-0")));
  server.start();
  EXPECT_EQ(runTool("tone --seconds 0.1"), Ended{0});
}

TEST(ServerChange, WithoutAnotherDeviceTheRunEnds) {
  for (const auto& [command, side, device, kind] :
       {std::tuple("tone", "output", "test.speaker", "Audio/Sink"),
        std::tuple("meter", "input", "test.microphone", "Audio/Source/Virtual")}) {
    const PrivateServer server(deviceEntry(device, kind, "FL FR"));
    ToolRun tool(command);
    EXPECT_EQ(run(std::string("pw-cli destroy ") + device).status, 0);
    const Ended ended = tool.finish();
    EXPECT_EQ(ended.status, 1) << ended;
    EXPECT_THAT(said(ended), HasSubstr(std::string("\"error\":\"the ") + side + " \\\"" + device +
                                       "\\\" was removed\",\"status\":-9"));
  }
}

TEST(ServerChange, ARunGoesOnAfterAPause) {
  for (const bool serverToo : {false, true}) {
    const PrivateServer server;
    ToolRun tool("tone");
    if (serverToo) server.send(SIGSTOP);
    tool.send(SIGSTOP);
    std::this_thread::sleep_for(1s);
    tool.send(SIGCONT);
    server.send(SIGCONT);
    std::this_thread::sleep_for(300ms);
    const Ended ended = tool.interrupt();
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_THAT(ended.output, testing::Not(HasSubstr("\"discontinuities\":0"))) << serverToo;
  }
}

TEST(ServerChange, ARecordingGoesOnWithAnotherQuantum) {
  const PrivateServer server;
  const Feeder feeder(server, 5);
  const std::string file = server.file("recorded.wav");
  Recorder recorder(server, "test.microphone:capture_FL", "test.microphone:capture_FR");
  ToolRun tool("record " + file);
  for (const char* quantum : {"1024", "64", "0"}) {
    run(std::string("pw-metadata -n settings 0 clock.force-quantum ") + quantum);
    std::this_thread::sleep_for(400ms);
  }
  const Ended ended = tool.interrupt();
  EXPECT_EQ(ended.status, 0) << ended;
  const Heard heard = hear(channelOf(readSound(file), 0));
  // The server itself drops sound when the quantum changes, as another program's recording shows.
  const Heard other = hear(channelOf(recorder.finish(), 0));
  const auto counted = static_cast<std::size_t>(numberOf(ended.output, "discontinuities"));
  EXPECT_LE(heard.breaks, other.breaks + counted + busyLosses) << ended;
  EXPECT_GE(heard.frames, 40'000U);
}

TEST(ServerChange, ARecordingKeepsItsRateAndItsLength) {
  const PrivateServer server;
  const std::string file = server.file("recorded.wav");
  ToolRun tool("record --seconds 1.5 " + file);
  run("pw-metadata -n settings 0 clock.force-rate 44100");
  const Ended ended = tool.finish();
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_THAT(ended.output, HasSubstr(R"("ended":"seconds","seconds":1.5,"frames":72000,)"));
  EXPECT_EQ(readSound(file).rate, 48000);
  EXPECT_NEAR(static_cast<double>(readSound(file).frames()), 72000, 200) << "and the delay of the conversion";
}

struct ChangeCase {
  std::string name;
  std::string command;
  std::string change;
  std::string link;     ///< In the list of links afterwards.
  std::string members;  ///< Of the object at the end.
  std::string line;     ///< On standard error, during the run.
};
void PrintTo(const ChangeCase& each, std::ostream* stream) {
  *stream << each.command << " and " << each.change;
}
class ServerChanges : public testing::TestWithParam<ChangeCase> {};

TEST_P(ServerChanges, TheRunGoesOnAndCountsWhatIsMissing) {
  const PrivateServer server(stereoDevices() + deviceEntry("test.spare", "Audio/Sink", "FL FR"));
  ToolRun tool(GetParam().command);
  run(GetParam().change);
  std::this_thread::sleep_for(500ms);
  EXPECT_THAT(run("pw-link -l").output, HasSubstr(GetParam().link));
  const Ended ended = tool.interrupt();
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_THAT(said(ended), HasSubstr(GetParam().members));
  EXPECT_THAT(said(ended), testing::Not(HasSubstr("\"discontinuities\":0")));
  EXPECT_THAT(said(ended), HasSubstr("frames are missing in"));
  EXPECT_THAT(ended.errors, HasSubstr(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, ServerChanges,
    testing::Values(
        ChangeCase{"AnotherOutput", "tone", "pw-cli destroy test.speaker",
                   "orvane:output_2\n  |-> test.spare:playback_FR", R"("ended":"signal")",
                   "log error: the output \"test.speaker\" was removed; the run continues with \"test.spare\"\n"},
        ChangeCase{"ALinkRemoved", "meter", "pw-link -d test.microphone:capture_FL orvane:input_1",
                   "orvane:input_1\n  |<- test.microphone:capture_FL", R"("ended":"signal")",
                   "log error: a link of the sound server was removed and is made again\n"},
        ChangeCase{"AnotherRate", "tone", "pw-metadata -n settings 0 clock.force-rate 44100", "orvane:output_1",
                   R"("sampleRate":44100.0)", ""}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace orvane::test
