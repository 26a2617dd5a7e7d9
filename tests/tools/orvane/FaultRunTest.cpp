// SPDX-License-Identifier: MIT
#include "tests/tools/orvane/Program.h"

namespace orvane::test {
namespace {

/// Runs of the tool in simulated time with a scenario whose speaker is a file.
class FaultRun : public ToolRun {
 protected:
  Ended run(const std::string& content, const std::string& arguments) const {
    const std::string file = mFolder.file("scenario.json");
    std::ofstream(file) << R"({"audio":{"pace":"fast","microphone":"tone:440","speaker":"heard.wav"},)" << content
                        << '}';
    return runTool("--json --simulate scenario=" + file + " " + arguments);
  }

  const std::string mHeard = mFolder.file("heard.wav");
  const std::string mRecord = "record " + mTake;
};

std::string faulty(const std::string& time, const std::string& fault) {
  return R"("faults":[{"at":)" + time + R"(,"fault":)" + fault + "}]";
}

TEST_F(FaultRun, ADiskThatIsFullEndsARunWithWhatFitted) {
  const Ended ended = run(faulty("0.5", R"("disk-full")"), mRecord);
  EXPECT_EQ(ended.status, 1);
  const std::string reason = "orvane: writing failed, disk full: \"" + mTake + "\": No space left on device\n";
  // Writing the speaker's file may fail too. That is a different failure, so it is shown as well.
  EXPECT_THAT(ended.errors, testing::AnyOf(reason, "log error: writing failed: \"" + mHeard +
                                                       "\": No space left on device\n" + reason));
  EXPECT_THAT(ended.output, HasSubstr(R"("status":-4,"cause":"disk full","seconds":)"));
  const std::string frames = framesOfWholeFile(mTake);
  EXPECT_GT(std::stoi(frames), 9000) << "what was written in the first 200 ms at least";
  EXPECT_THAT(ended.output, HasSubstr(R"("type":"WAVE","frames":)" + frames + "}"));
  // A failure that did not end the run is shown too.
  const Ended lost = run(R"("faults":[{"at":0.5,"fault":"disk-full"},{"at":0.5,"fault":"device-lost"}])", "tone");
  EXPECT_EQ(lost.errors,
            "log error: writing failed: \"" + mHeard + "\": No space left on device\norvane: the device was lost\n");
}

TEST_F(FaultRun, ShowsWhatTheScenarioSays) {
  const auto refusing = [](std::string_view call, const std::string& time = "0") {
    return faulty(time, R"("refuse","status":-77,"call":")" + std::string(call) + '"');
  };
  const auto denying = [](const std::string& what) {
    return R"("session":{"refuse":{")" + what + R"(":"out of hours"}})";
  };
  const std::string render = faulty("0.5", R"("render-status","status":-10)");
  const std::string record = mRecord + " --session primary --seconds 0.1";
  const std::string refused = ": refused by the scenario with status -77\n";
  const std::string unknown = R"(,"status":-77,"cause":"unknown status","seconds":)";
  const std::string scenario = mFolder.file("scenario.json");
  struct Case {
    std::string content;
    std::string arguments;
    int status;
    std::string error = {};   ///< The beginning of standard error, which contains no log line.
    std::string output = {};  ///< Part of the JSON object.
  };
  const std::string take = mRecord + " --session primary", stalled = "the device stalled: no callback for 500 ms";
  std::vector<Case> cases = {
      {faulty("0.5", R"("server-lost")"), take, 1, "orvane: the sound server was lost\n", R"("frames":23808,)"},
      {faulty("0.5", R"("microphone-unplugged")"), take, 1, "orvane: the microphone was unplugged\n",
       R"("frames":23808,)"},
      {faulty("0.5", R"("microphone-unplugged")"), "playthru", 1, "orvane: the microphone was unplugged\n"},
      {faulty("0.5", R"("stalled")"), take, 1, "orvane: " + stalled + "\n", R"("frames":23808,)"},
      {faulty("0", R"("stalled")"), take, 1, "orvane: " + stalled + "\n", R"("frames":0,)"},
      {faulty("0", R"("device-lost")"), take, 77, "orvane: the device was lost\n", R"("ended":"unavailable",)"},
      {faulty("0", R"("refuse","call":"UnitService::wrap")"), record, 1,
       "orvane: Failed to wrap UnitInstance 1 in UnitWrapper: refused by the scenario\n", R"(scenario","seconds":)"},
      {faulty("0", R"("disk-full")"), record, 1,
       "orvane: ConvertingFile::create failed: -4: \"" + mTake + "\": No space left on device\n"},
      {R"("faults":[])", record + " --category Playback", 1, "orvane: UnitService::initialize failed: -15"},
      {R"("faults":[])", record + " --client-rate 1", 1, "orvane: setInputClientFormat failed", "a factor of 256"},
      {R"("faults":[])", "record " + scenario, 1, "orvane: ConvertingFile::create failed: -3: \"" + scenario,
       "is the scenario of this run"},
      {refusing("ConvertingFile::writeAsync"), record, 0,
       "orvane: nothing was recorded; " + mTake + " is as it was before\n"},
      {refusing("ConvertingFile::dispose"), record, 134,
       "log error: ConvertingFile::dispose failed" + refused +
           "log error: Failure: ConvertingFile::dispose failed: -77\n"},
      // A fault does not affect calls before its time, such as the start at 0. The unit is stopped when it is released.
      {refusing("UnitService::start", "0.05"), "tone --seconds 0.1", 0, "", R"("frames":4800,)"},
      {refusing("UnitService::stop", "0.05"), "tone --seconds 0.1", 1,
       "orvane: UnitService::stop failed: -77" + refused},
      {R"("faults":[{"at":0,"fault":"refuse","call":"UnitService::stop","status":-77},{"at":0.05,"fault":"device-lost"}])",
       "tone", 1, "orvane: the device was lost; then UnitService::stop failed: -77" + refused,
       R"("status":-9,"cause":"device lost","seconds":0.048,"frames":2304,)"},
      {faulty("0", R"("device-lost")"), "device", 77, "orvane: the device was lost\n",
       R"("ended":"unavailable","error":"the device was lost","status":-9,"cause":"device lost"})"},
      {denying("activate"), "session --activate", 1, "orvane: activate failed: out of hours\n",
       R"("error":"activate failed: out of hours","status":-3,"cause":"no permission")"},
      {denying("deactivate"), "session --activate --deactivate", 1, "orvane: deactivate failed: out of hours\n"},
      {denying("category"), "session --category Playback", 1, "orvane: setCategory failed: out of hours\n"},
      {denying("mode"), "session --mode Raw", 1, "orvane: setMode failed: out of hours\n"},
      {denying("options"), "session --option duckOthers=off", 1,
       "orvane: change categoryOption 0x2 0 failed: PlatformSession::setCategory: out of hours (status -3, no "
       "permission)\n"},
      {denying("mode"), "session --primary --mode Raw", 1, "orvane: setMode failed: out of hours\n"},
      // The refusal of a session's setting does not prevent a unit from being bound to the session.
      {denying("mode"), "meter --session auxiliary --category Playback", 1,
       "orvane: UnitService::initialize failed: -15: the session's category "},
      {render, "meter", 134, "Error -10 while rendering in Meter\n"},
      {render, "tone --seconds 1", 0, "", R"("frames":48000,"slice":256,"discontinuities":0,)"},
      {faulty("0.5", R"("microphone-unplugged")"), "tone --seconds 1", 0, "", R"("frames":48000,)"},
      {faulty("0.5", R"("discontinuity","frames":4800)"), "tone --seconds 1", 0,
       "orvane: frames are missing in 1 place: the device was interrupted\n",
       R"("frames":48000,"slice":256,"discontinuities":1,)"},
      {faulty("0", R"("stalled","status":-1)"), "tone --seconds 0.1", 2,
       "orvane: --simulate: scenario=" + scenario + ": faults[0].status: unknown key; the keys"}};
  const std::pair<std::string, std::string> refusals[] = {
      {"UnitService::findComponent", "I/O unit subtype 'rioc' not found"},
      {"UnitService::createInstance", "Failed to instantiate I/O unit: -77"},
      {"UnitService::initialize", "UnitService::initialize failed: -77"},
      {"UnitService::start", "UnitService::start failed: -77"},
      {"UnitService::stop", "UnitService::stop failed: -77"},
      {"UnitService::setProperty",
       "setSession failed -- UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: 1"},
      {"UnitBus::setFormat", "setInputClientFormat failed"},
      {"ConvertingFile::create", "ConvertingFile::create failed: -77"},
      {"ConvertingFile::setClientDataFormat", "ConvertingFile setting client format failed: -77"}};
  for (const auto& [call, error] : refusals)
    cases.push_back({refusing(call), record, 1, "orvane: " + error + refused, unknown});
  for (const auto& [content, arguments, status, error, output] : cases) {
    SCOPED_TRACE(content + ": " + arguments);
    std::filesystem::remove(mHeard);
    std::ofstream(mTake) << "old";
    const Ended ended = run(content, arguments);
    EXPECT_EQ(ended.status, status) << ended.errors;
    const std::string all = ended.output + ended.errors;
    const bool isWritten = readFile(mTake) != "old";
    EXPECT_EQ(isWritten, all.find(R"("file":)") != std::string::npos);
    EXPECT_TRUE(!isWritten || all.find(R"("frames":)" + framesOfWholeFile(mTake) + ",") != std::string::npos);
    EXPECT_TRUE(status == 134 || !std::filesystem::exists(mHeard) ||
                all.find(R"("frames":)" + std::to_string(readSound(mHeard).frames()) + ",") != std::string::npos);
    EXPECT_THAT(ended.errors, StartsWith(error));
    EXPECT_TRUE(status != 0 || ended.errors == error) << ended.errors;
    EXPECT_TRUE(status == 134 || ended.errors.find("log error: ") == std::string::npos) << ended.errors;
    EXPECT_THAT(ended.output, HasSubstr(output));
    EXPECT_EQ(all.find(R"({"command":)") == std::string::npos, status == 134) << "an object unless the library ends it";
    EXPECT_TRUE(status != 2 || !std::filesystem::exists(mHeard));
  }
  EXPECT_THAT(run(faulty("0.05", R"("discontinuity","frames":100)"), "tone --seconds 0.1 --verbose").errors,
              StartsWith("log warning: "));
  EXPECT_THAT(run(refusing("UnitService::start"), "tone --verbose").errors,
              HasSubstr("log error: UnitService::start failed" + refused +
                        "log error: Failure: UnitService::start failed: -77\norvane: UnitService::start failed: -77"));
}

}  // namespace
}  // namespace orvane::test
