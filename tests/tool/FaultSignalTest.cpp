#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "tests/support/SoundFiles.h"
#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

TEST(FaultSignal, EndsARunCleanlyInTheMiddleOfAFault) {
  // Slices so long that a stall would be noticed only after 1.7 s.
  const TemporaryFolder folder;
  for (const std::string fault :
       {R"("stalled")", R"("discontinuity","frames":10000000)", R"("microphone-unplugged")"}) {
    const std::string scenario = folder.file("scenario.json");
    std::ofstream(scenario) << R"({"audio":{"slice":8192,"speaker":"heard.wav"},"faults":[{"at":0.1,"fault":)" << fault
                            << "}]}";
    Program program(ORVANE_TOOL " tone --json --simulate scenario=" + scenario);
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    program.send(SIGINT);
    const Ended ended = program.finish();
    EXPECT_EQ(ended.status, 0) << fault << ended.errors;
    EXPECT_NE(ended.output.find(R"("ended":"signal")"), std::string::npos) << ended.output;
    const std::string frames = std::to_string(readSound(folder.file("heard.wav")).frames());
    EXPECT_NE(ended.output.find(R"("frames":)" + frames + ","), std::string::npos) << frames << ended.output;
  }
}

}  // namespace
}  // namespace orvane::test
