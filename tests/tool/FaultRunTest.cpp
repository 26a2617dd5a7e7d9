#include <gmock/gmock.h>

#include <array>
#include <fstream>

#include "platform/simulated/RefusableCalls.h"
#include "tests/support/SoundFiles.h"
#include "tests/tool/Program.h"

namespace orvane::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

/// A folder with a scenario at fast pace that plays into a file.
class FaultRun : public testing::Test {
 protected:
  Ended run(const std::string& content, const std::string& arguments) const {
    const std::string file = mFolder.file("scenario.json");
    std::ofstream(file) << R"({"audio":{"pace":"fast","microphone":"tone:440:0.5","speaker":"heard.wav"},)" << content
                        << "}";
    return runTool("--json --simulate scenario=" + file + " " + arguments);
  }

  std::size_t framesHeard() const { return readSound(mFolder.file("heard.wav")).frames(); }

  TemporaryFolder mFolder;
};

std::string command(const std::string& name, const std::string& file) {
  return name == "record" ? name + " " + file : name;
}

TEST_F(FaultRun, EndsWithTheReasonAndWholeFiles) {
  struct Case {
    std::string fault;
    int status;
    std::string error;
    std::size_t frames;  ///< Of the run, and of the files where it failed.
  };
  const Case cases[] = {
      {R"({"at":0.5,"fault":"device-lost"})", 1, "the device was lost", 23808},
      {R"({"at":0.5,"fault":"server-lost"})", 1, "the sound server was lost", 23808},
      {R"({"at":0.5,"fault":"stalled"})", 1, "the device stalled: no callback for 500 ms", 23808},
      {R"({"at":0,"fault":"stalled"})", 1, "the device stalled: no callback for 500 ms", 0},
      {R"({"at":0,"fault":"device-lost"})", 77, "the device was lost", 0},
      {R"({"at":0,"fault":"server-lost"})", 77, "the sound server was lost", 0},
  };
  for (const std::string name : {"meter", "tone", "record", "playthru"}) {
    for (const auto& [fault, status, error, frames] : cases) {
      SCOPED_TRACE(name + ": " + fault);
      const std::string file = mFolder.file("recording.wav");
      const Ended ended = run(R"("faults":[)" + fault + "]", command(name, file));
      const std::string& json = name == "meter" ? ended.errors : ended.output;
      EXPECT_EQ(ended.status, status);
      EXPECT_THAT(ended.errors, HasSubstr("orvane: " + error + "\n"));
      EXPECT_THAT(json, AllOf(HasSubstr(R"("ended":"failed","error":")" + error + '"'),
                              HasSubstr(R"("frames":)" + std::to_string(frames) + ",")));
      if (status != 1) continue;
      EXPECT_EQ(framesHeard(), frames);
      if (name != "record") continue;
      EXPECT_THAT(json, HasSubstr(R"("type":"RF64","frames":)" + std::to_string(frames) + "}"));
      EXPECT_EQ(test::run("soxi -s " + file).output, std::to_string(frames) + "\n");
    }
  }
}

TEST_F(FaultRun, AMicrophoneIsMissedOnlyWhereItIsUsed) {
  const std::string faults = R"("faults":[{"at":0.5,"fault":"microphone-unplugged"}])";
  for (const std::string name : {"meter", "record", "playthru"}) {
    const Ended ended = run(faults, command(name, mFolder.file("recording.wav")));
    EXPECT_EQ(ended.status, 1) << name;
    EXPECT_THAT(ended.errors, HasSubstr("orvane: the microphone was unplugged\n"));
  }
  EXPECT_EQ(run(faults, "tone --seconds 1").status, 0);
  EXPECT_EQ(framesHeard(), 48128U);
}

TEST_F(FaultRun, ADiskThatIsFullEndsARunWithWhatFitted) {
  const std::string file = mFolder.file("recording.wav");
  const Ended ended = run(R"("faults":[{"at":0.5,"fault":"disk-full"}])", "record " + file);
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.errors, EndsWith("disk full: \"" + file + "\": No space left on device\n"));
  EXPECT_THAT(ended.output, HasSubstr(R"("ended":"failed")"));
  const std::string frames = test::run("soxi -s " + file).output;
  EXPECT_GT(std::stoul(frames), 9000U) << "what was written in the first 200 ms at least";
  EXPECT_LT(std::stoul(frames), 24000U);
  EXPECT_EQ(test::run("sndfile-info " + file).output.find("should be"), std::string::npos);

  const Ended atOnce = run(R"("faults":[{"at":0,"fault":"disk-full"}])", "record " + file);
  EXPECT_EQ(atOnce.status, 1);
  EXPECT_THAT(atOnce.errors, EndsWith("orvane: ConvertingFile::create failed: -4\n"));
}

TEST_F(FaultRun, FramesThatAreMissingAreToldAndCounted) {
  const Ended ended = run(R"("faults":[{"at":0.5,"fault":"discontinuity","frames":4800}])", "tone --seconds 1");
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.errors, "orvane: frames are missing in 1 place: the device was interrupted\n");
  EXPECT_THAT(ended.output, HasSubstr(R"("frames":48128,"discontinuities":1,)"));
}

TEST_F(FaultRun, ARenderThatFailsEndsTheProcess) {
  const std::string faults = R"("faults":[{"at":0.5,"fault":"render-status","status":-10}])";
  const Ended meter = run(faults, "meter");
  EXPECT_EQ(meter.status, 134);
  EXPECT_THAT(meter.errors, HasSubstr("Error -10 while rendering in Meter\n"));
  EXPECT_EQ(run(faults, "tone --seconds 1").status, 0) << "a tone renders nothing from the unit";
}

TEST_F(FaultRun, EveryCallThatIsRefusedIsRaisedAsItsContractSays) {
  struct Case {
    std::string_view call;
    int status;
    std::string error;
  };
  using namespace simulated;
  const std::array<Case, refusableCalls.size()> cases{{
      {call::findComponent, 1, "orvane: I/O unit subtype 'rioc' not found"},
      {call::createInstance, 1, "orvane: Failed to instantiate I/O unit: -77"},
      {call::wrap, 1, "orvane: Failed to wrap UnitInstance 1 in UnitWrapper"},
      {call::initialize, 1, "orvane: UnitService::initialize failed: -77"},
      {call::start, 1, "orvane: UnitService::start failed: -77"},
      {call::stop, 1, "orvane: UnitService::stop failed: -77"},
      {call::setProperty, 1,
       "orvane: setSession failed -- UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: 1"},
      {call::setFormat, 1, "orvane: setInputClientFormat failed: refused by the scenario with status -77"},
      {call::createFile, 1, "orvane: ConvertingFile::create failed: -77"},
      {call::setClientDataFormat, 1, "orvane: ConvertingFile setting client format failed: -77"},
      {call::writeAsync, 0, ""},
      {call::disposeFile, 134, "log error: Failure: ConvertingFile::dispose failed: -77"},
  }};
  for (std::size_t index = 0; index < cases.size(); ++index) {
    const auto& [call, status, error] = cases[index];
    ASSERT_EQ(call, refusableCalls[index].name) << "a call that can be refused and is not tested";
    const Ended ended =
        run(R"("faults":[{"at":0,"fault":"refuse","call":")" + std::string(call) + R"(","status":-77}])",
            "record " + mFolder.file("recording.wav") + " --session primary --seconds 0.1");
    EXPECT_EQ(ended.status, status) << call;
    EXPECT_THAT(ended.errors, HasSubstr(error + (error.empty() ? "" : "\n")));
  }
  // A time later than the start leaves what comes before it alone.
  const Ended later = run(R"("faults":[{"at":0.05,"fault":"refuse","call":"UnitService::stop","status":-77},)"
                          R"({"at":0.05,"fault":"refuse","call":"UnitService::start","status":-77}])",
                          "tone --seconds 0.1");
  EXPECT_THAT(later.errors, EndsWith("orvane: UnitService::stop failed: -77\n"));
  EXPECT_EQ(framesHeard(), 4864U) << "the unit is stopped when it is released";
}

TEST_F(FaultRun, ASessionRefusesForTheScenariosReasons) {
  struct Case {
    std::string refused;
    std::string options;
    std::string error;
  };
  const Case cases[] = {
      {"activate", "--activate", "activate failed: out of hours"},
      {"deactivate", "--activate --deactivate", "deactivate failed: out of hours"},
      {"category", "--category Playback", "setCategory failed: out of hours"},
      {"mode", "--mode Raw", "setMode failed: out of hours"},
      {"options", "--option duckOthers=on",
       "change categoryOption 0x2 1 failed: PlatformSession::setCategory: out of hours (status -3, no permission)"},
  };
  for (const std::string kind : {" --primary ", " "}) {
    for (const auto& [refused, options, error] : cases) {
      const Ended ended =
          run(R"("session":{"refuse":{")" + refused + R"(":"out of hours"}})", "session" + kind + options);
      EXPECT_EQ(ended.status, 1);
      EXPECT_THAT(ended.errors, EndsWith("orvane: " + error + "\n"));
      EXPECT_EQ(ended.output, "");
    }
  }
  const Ended others =
      run(R"("session":{"refuse":{"deactivate":"no"}})", "meter --session auxiliary --category Playback --seconds 0.1");
  EXPECT_THAT(others.errors, HasSubstr("UnitService::start failed: -15")) << "units are bound to the sessions as ever";
}

TEST_F(FaultRun, AWrongScenarioIsWrongUsageAndStartsNothing) {
  const Ended ended = run(R"("faults":[{"at":0,"fault":"device-lost","status":-1}])", "tone --seconds 0.1");
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.output, "");
  EXPECT_THAT(ended.errors, HasSubstr("scenario.json: faults[0].status: unknown key; the keys here are at, fault\n"));
  EXPECT_FALSE(std::filesystem::exists(mFolder.file("heard.wav")));
}

}  // namespace
}  // namespace orvane::test
