#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/SoundFiles.h"
#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

TEST(FaultSignal, EndsARunCleanlyInTheMiddleOfAFault) {
  // Slices of half a second, so that a stall would be noticed only after five.
  const TemporaryFolder folder;
  for (const std::string fault :
       {R"("stalled")", R"("discontinuity","frames":10000000)", R"("microphone-unplugged")"}) {
    const std::string scenario = folder.file("scenario.json");
    const std::string heard = folder.file("heard.wav");
    std::filesystem::remove(heard);
    std::ofstream(scenario)
        << R"({"audio":{"rate":16000,"slice":8192,"speaker":"heard.wav"},"faults":[{"at":0.1,"fault":)" << fault
        << "}]}";
    Program program(ORVANE_TOOL " tone --json --simulate scenario=" + scenario);
    // The speaker's file is there once the device starts, and the fault by the end of the first slice.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!std::filesystem::exists(heard) && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    program.send(SIGINT);
    const Ended ended = program.finish();
    EXPECT_EQ(ended.status, 0) << fault << ended.errors;
    EXPECT_NE(ended.output.find(R"("ended":"signal")"), std::string::npos) << ended.output;
    const std::string frames = std::to_string(readSound(heard).frames());
    EXPECT_NE(ended.output.find(R"("frames":)" + frames + ","), std::string::npos) << frames << ended.output;
  }
}

}  // namespace
}  // namespace orvane::test
