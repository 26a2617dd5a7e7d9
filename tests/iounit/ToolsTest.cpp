#include <gmock/gmock.h>
#include <stdio_ext.h>

#include <cmath>
#include <typeinfo>

#include "iounit/AOMeter.h"
#include "iounit/AOPlaythru.h"
#include "iounit/AORecord.h"
#include "iounit/MeterInputHandler.h"
#include "iounit/OVTestTone.h"
#include "tests/support/ScriptedUnit.h"

namespace orvane::test {
namespace {

using namespace platform;
using testing::KilledBySignal;

TEST(Tools, StartInOrderGoNoFurtherThanWhatIsRefusedAndEndInOrder) {
  using Calls = std::vector<std::string>;
  const struct {
    std::function<std::shared_ptr<OVIOUnit>()> make;
    Calls made;   ///< What the first start begins with.
    Calls again;  ///< What a start of the running unit does.
  } tools[] = {
      {&AOMeter::init,
       {"wrap", "setInputEnabled yes", "setOutputEnabled no", "UnitService::initialize"},
       {"UnitService::stop", "UnitService::initialize", "InputHardwareFormat", "setInputHandler none",
        "setInputClientFormat 48000 Hz, 2", "setInputHandler", "UnitService::start"}},
      {[] { return AORecord::initWithFilePath("a b.wav"); },
       {"wrap", "setInputEnabled yes", "setOutputEnabled no", "UnitService::initialize"},
       {"UnitService::stop", "UnitService::initialize", "InputHardwareFormat", "setInputClientFormat 48000 Hz, 2",
        "ConvertingFile::create a b.wav: 16 bits, 48000 Hz, 2", "ConvertingFile setting client format 48000 Hz, 2 of 2",
        "write 2:", "setInputHandler none", "ConvertingFile::dispose 1", "setInputHandler", "UnitService::start"}},
      {&AOPlaythru::init,
       {"wrap", "setInputEnabled yes", "setOutputEnabled yes", "UnitService::initialize"},
       {"UnitService::stop", "UnitService::initialize", "InputHardwareFormat", "OutputHardwareFormat",
        "setInputClientFormat 48000 Hz, 1", "setOutputClientFormat 48000 Hz, 1", "setOutputProvider",
        "UnitService::start"}},
      {&OVTestTone::init,
       {"wrap", "UnitService::initialize"},
       {"UnitService::stop", "UnitService::initialize", "OutputHardwareFormat", "setOutputClientFormat 44100 Hz, 2",
        "setOutputProvider", "UnitService::start"}}};
  for (const auto& tool : tools) {
    for (const std::string refused :
         {"nothing", "UnitService::stop", "UnitService::initialize", "setInputClientFormat", "setOutputClientFormat",
          "ConvertingFile::create", "ConvertingFile setting client format", "UnitService::start"}) {
      ScriptedUnit host;
      auto unit = tool.make();
      unit->start();
      Calls made = host.takeCalls();
      EXPECT_EQ(Calls(made.begin() + 2, made.begin() + 2 + std::ssize(tool.made)), tool.made);

      host.isUnitRunning = true;
      host.answers[refused] = [] { return -10; };
      const auto step = std::ranges::find_if(tool.again, [&](auto& call) { return call.starts_with(refused); });
      const bool isRefused = step != tool.again.end();
      Calls expected(tool.again.begin(), isRefused ? step + 1 : step);
      if (isRefused && refused == "ConvertingFile setting client format")
        expected.push_back("ConvertingFile::dispose 2");
      EXPECT_EQ(reasonOf([&] { unit->start(); }), isRefused ? refused + " failed: -10" : "");
      EXPECT_EQ(host.takeCalls(), expected);

      const OVIOUnit& ending = *unit;
      host.answers["UnitService::dispose"] = [&] {
        EXPECT_NE(typeid(ending), typeid(OVIOUnit)) << "what the callback uses is already gone";
        return status::success;
      };
      unit.reset();
      const Calls ended = host.takeCalls();
      EXPECT_EQ(Calls(ended.begin(), ended.begin() + 2), (Calls{"UnitWrapper::invalidate", "UnitService::dispose"}));
    }
  }
}

TEST(AOMeter, BarsRoundDownAndStayWithinForty) {
  const std::pair<double, int> rows[] = {{0, 0},         {0.0249, 0}, {0.025, 1},  {0.5, 20},
                                         {0.9999, 39},   {1, 40},     {5.4e7, 40}, {INFINITY, 40},
                                         {-INFINITY, 0}, {-0.5, 0},   {NAN, 0},    {1e300, 40}};
  for (const auto& [level, stars] : rows) EXPECT_EQ(MeterInputHandler::barStars(level), stars) << level;
}

TEST(AOMeter, MetersEachChannelAndFlushesAtEverySliceAndBeginsAnewAtEachStart) {
  ScriptedUnit host;
  const auto printed = [&](float left, float right, int slices) {
    host.captured = {std::vector<float>(256, left), std::vector<float>(256, right)};
    testing::internal::CaptureStdout();
    std::fputs("<", stdout);
    for (int i = 0; i < slices; ++i) host.deliver(256);
    EXPECT_EQ(__fpending(stdout), 0U);
    return testing::internal::GetCapturedStdout();
  };
  const std::string blanks(40, ' '), stars(40, '*');
  const auto meter = AOMeter::init();
  meter->start();
  EXPECT_EQ(printed(0, 0, 1), "<" + blanks + "  " + blanks + "\r");
  EXPECT_EQ(printed(1e10F, 0, 7), "<");
  EXPECT_EQ(printed(0, 1e10F, 1), "<" + stars + "  " + stars + "\r");
  meter->start();
  EXPECT_EQ(printed(0, 1e10F, 1), "<" + blanks + "  " + stars + "\r");
}

TEST(AORecord, EverySliceGoesToTheFileWhateverBecomesOfItUntilTheUnitIsGone) {
  ScriptedUnit host;
  host.answers["write"] = [] { return status::overrun; };
  auto record = AORecord::initWithFilePath("take.wav");
  record->setClientSampleRate(16000);
  record->start();
  EXPECT_THAT(host.takeCalls(),
              testing::IsSupersetOf({"setInputClientFormat 16000 Hz, 2",
                                     "ConvertingFile::create take.wav: 16 bits, 16000 Hz, 2",
                                     "ConvertingFile setting client format 16000 Hz, 2 of 1", "write 1:"}));
  host.deliver(3);
  host.deliver(1);
  record->stop();
  record.reset();
  EXPECT_THAT(host.takeCalls(),
              testing::ElementsAre("write 1: 1 2 3 -1 -2 -3", "write 1: 1 -1", "UnitService::stop",
                                   "UnitWrapper::invalidate", "UnitService::dispose", "ConvertingFile::dispose 1"));
}

TEST(ToolsDeathTest, ARenderFailureAndAFileThatCannotBeDoneEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ScriptedUnit host;
  auto record = AORecord::initWithFilePath("take.wav");
  record->start();
  host.answers["ConvertingFile::dispose"] = [] { return -17; };
  EXPECT_EXIT(record.reset(), KilledBySignal(SIGABRT), "ConvertingFile::dispose failed: -17");
  host.answers.clear();
  host.renderStatus = -10;
  EXPECT_EXIT(host.deliver(3), KilledBySignal(SIGABRT), "^Error -10 while rendering in IORecord\n");
  const auto meter = AOMeter::init();
  meter->start();
  for (const auto& [status, shown] : {std::pair{7, "7"}, std::pair{INT32_MIN, "-2147483648"}}) {
    host.renderStatus = status;
    EXPECT_EXIT(host.deliver(3), KilledBySignal(SIGABRT),
                testing::StartsWith(std::string("Error ") + shown + " while rendering in Meter\n"));
  }
}

TEST(AOPlaythru, RendersTheInputIntoWhatItIsToFillInTheFewerChannels) {
  for (const auto& [inputs, outputs, client] :
       {std::tuple{1U, 2U, "44100 Hz, 1"}, {8U, 6U, "44100 Hz, 6"}, {2U, 2U, "44100 Hz, 2"}}) {
    ScriptedUnit host;
    host.inputHardware = StreamFormat::standard(44100, inputs);
    host.outputHardware = StreamFormat::standard(96000, outputs);
    const auto playthru = AOPlaythru::init();
    playthru->start();
    EXPECT_THAT(host.takeCalls(), testing::IsSupersetOf({std::string("setInputClientFormat ") + client,
                                                         std::string("setOutputClientFormat ") + client}));
    EXPECT_EQ(host.fill(3), host.captured);
    host.renderStatus = -10;
    host.fill(3);
  }
}

TEST(OVTestTone, LeavesTheOscillatorsAloneUntilARunningUnitHasStopped) {
  ScriptedUnit host;
  const auto tone = OVTestTone::init();
  tone->setFrequency(0);
  tone->setClientSampleRate(8000);
  tone->start();
  EXPECT_THAT(host.takeCalls(), testing::Contains("setOutputClientFormat 8000 Hz, 2"));
  host.isUnitRunning = true;
  host.answers["UnitService::stop"] = [&] {
    EXPECT_THAT(host.fill(64)[0], testing::Each(0.0F));
    return status::success;
  };
  tone->setFrequency(261);
  tone->start();
  EXPECT_NE(host.fill(64)[0].back(), 0.0F);

  host.outputHardware = StreamFormat::standard(0, 2);
  host.takeCalls();
  EXPECT_EQ(reasonOf([&] { OVTestTone::init()->start(); }),
            "Hardware sample rate is 0.0 after activating session and initializing AU");
  EXPECT_EQ(host.takeCalls().at(4), "OutputHardwareFormat");
}

}  // namespace
}  // namespace orvane::test
