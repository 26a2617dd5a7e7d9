#include "iounit/AOMeter.h"

#include <stdio_ext.h>

#include <csignal>
#include <limits>

#include "iounit/MeterInputHandler.h"
#include "tests/support/ReasonOf.h"
#include "tests/support/ScriptedUnit.h"

namespace orvane::test {
namespace {

using namespace platform;
using testing::InSequence;
using testing::Return;

constexpr std::uint32_t kFrames = 256;

std::string bar(std::size_t stars) {
  return std::string(stars, '*') + std::string(40 - stars, ' ');
}

std::vector<float> constant(float value) {
  return std::vector<float>(kFrames, value);
}

class AOMeterTest : public testing::Test {
 protected:
  void setInput(double rate, std::vector<std::vector<float>> samples) {
    scripted.setHardware(StreamFormat::standard(rate, static_cast<std::uint32_t>(samples.size())), {});
    scripted.captured = std::move(samples);
  }

  /// What `slices` slices print.
  std::string printed(int slices) {
    testing::internal::CaptureStdout();
    for (int i = 0; i < slices; ++i) scripted.deliver(kFrames);
    return testing::internal::GetCapturedStdout();
  }

  ScriptedUnit scripted;
  ScriptedUnitService& service = *scripted.service;
  std::shared_ptr<AOMeter> meter = AOMeter::init();
};

TEST(MeterInputHandlerTest, BarsRoundDownAndStayWithinForty) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::pair<double, int> rows[] = {
      {0, 0},          {0.0249, 0}, {0.025, 1},  {0.5, 20},   {0.9999, 39},
      {1, 40},         {1.03, 40},  {5.4e7, 40}, {1e300, 40}, {kInfinity, 40},
      {-kInfinity, 0}, {-0.5, 0},   {-1e9, 0},   {-1e300, 0}, {std::numeric_limits<double>::quiet_NaN(), 0}};
  for (const auto& [level, stars] : rows) EXPECT_EQ(MeterInputHandler::barStars(level), stars) << level;
}

TEST_F(AOMeterTest, StartGoesFromInitialisingToRunningInOrder) {
  setInput(48000, {constant(0), constant(0)});
  InSequence order;
  EXPECT_CALL(service, wrap);
  EXPECT_CALL(*scripted.wrapper, setInputEnabled(true));
  EXPECT_CALL(*scripted.wrapper, setOutputEnabled(false));
  EXPECT_CALL(service, initialize(ScriptedUnit::instance));
  EXPECT_CALL(scripted.inputBus[1], format);
  EXPECT_CALL(scripted.outputBus[1], setFormat(StreamFormat::standard(48000, 2)));
  EXPECT_CALL(*scripted.wrapper, renderOperation);
  EXPECT_CALL(*scripted.wrapper, setInputHandler);
  EXPECT_CALL(service, start(ScriptedUnit::instance));
  meter->start();
}

TEST_F(AOMeterTest, PrintsABarForEachChannelOnEveryEighthSlice) {
  const auto silent = constant(0);
  auto loud = silent;
  loud.back() = 1e10F;
  const std::pair<std::vector<std::vector<float>>, std::string> rows[] = {
      {{silent}, bar(0) + "\r"},
      {{loud}, bar(40) + "\r"},
      {{silent, loud}, bar(0) + "  " + bar(40) + "\r"},
      {{loud, silent, loud}, bar(40) + "  " + bar(0) + "  " + bar(40) + "\r"},
      {{}, ""},
  };
  for (const auto& [samples, line] : rows) {
    setInput(44100, samples);
    meter->start();
    EXPECT_EQ(printed(1), line);
    EXPECT_EQ(printed(7), "");
    EXPECT_EQ(printed(9), line + line);
  }
}

TEST_F(AOMeterTest, SlicesThatPrintNothingAreMeteredAndFlush) {
  setInput(48000, {constant(0)});
  meter->start();
  EXPECT_EQ(printed(1), bar(0) + "\r");
  scripted.captured = {constant(0.5F)};
  EXPECT_EQ(printed(6), "");
  scripted.captured = {constant(0)};
  testing::internal::CaptureStdout();
  std::fputs("pending", stdout);
  scripted.deliver(kFrames);
  EXPECT_EQ(__fpending(stdout), 0U);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "pending");
  EXPECT_GT(printed(1), bar(5)) << "the level of the slices before is still falling";
}

TEST_F(AOMeterTest, SecondStartBeginsAnewOnceARunningUnitHasStopped) {
  setInput(48000, {constant(1e10F)});
  meter->start();
  printed(3);
  for (const bool running : {false, true}) {
    setInput(48000, {constant(0)});
    EXPECT_CALL(service, isRunning).WillOnce(Return(running));
    InSequence order;
    if (running) {
      EXPECT_CALL(service, stop).WillOnce([&](auto) {
        EXPECT_EQ(printed(8), bar(0) + "\r") << "the unit calls the first closure until it has stopped";
        return status::success;
      });
    }
    EXPECT_CALL(service, initialize);
    EXPECT_CALL(service, start);
    meter->start();
    EXPECT_EQ(printed(1), bar(0) + "\r");
    testing::Mock::VerifyAndClearExpectations(&service);
  }
}

TEST_F(AOMeterTest, FailedStartLeavesNoClosureThatReachesAReplacedHandler) {
  const std::string old = "", fresh = bar(40) + "\r", none = "no closure";
  const struct {
    std::string reason;
    std::function<void()> script;
    std::string left;  ///< What one more slice prints.
  } rows[] = {
      {"UnitService::stop failed: -13",
       [&] {
         EXPECT_CALL(service, isRunning).WillOnce(Return(true));
         EXPECT_CALL(service, stop).WillOnce(Return(-13));
         EXPECT_CALL(service, initialize).Times(0);
       },
       old},
      {"UnitService::initialize failed: -10", [&] { EXPECT_CALL(service, initialize).WillOnce(Return(-10)); }, old},
      {"setInputClientFormat failed: no such rate",
       [&] {
         EXPECT_CALL(scripted.outputBus[1], setFormat)
             .WillOnce(Return(PlatformError(-8, "UnitBus::setFormat", "no such rate")));
         EXPECT_CALL(service, start).Times(0);
       },
       none},
      {"UnitService::start failed: -15", [&] { EXPECT_CALL(service, start).WillOnce(Return(-15)); }, fresh},
  };
  setInput(48000, {constant(1e10F)});
  for (const auto& row : rows) {
    meter->start();
    EXPECT_EQ(printed(1), fresh);
    row.script();
    EXPECT_EQ(reasonOf([&] { meter->start(); }), row.reason);
    EXPECT_EQ(scripted.inputHandler ? printed(1) : none, row.left) << row.reason;
    testing::Mock::VerifyAndClearExpectations(&service);
    testing::Mock::VerifyAndClearExpectations(&scripted.outputBus[1]);
  }
}

TEST_F(AOMeterTest, HandlerOutlivesTheUnit) {
  setInput(48000, {constant(1e10F)});
  meter->start();
  EXPECT_CALL(service, dispose).WillOnce([&](auto) { EXPECT_EQ(printed(8), bar(40) + "\r"); });
  meter.reset();
}

using AOMeterDeathTest = AOMeterTest;

TEST_F(AOMeterDeathTest, RenderFailureEndsTheProcess) {
  setInput(48000, {constant(0)});
  meter->start();
  for (const auto& [status, shown] : {std::pair{-10, "-10"}, std::pair{7, "7"}, std::pair{INT32_MIN, "-2147483648"}}) {
    scripted.renderStatus = status;
    EXPECT_EXIT(scripted.deliver(kFrames), testing::KilledBySignal(SIGABRT),
                testing::StartsWith(std::string("Error ") + shown + " while rendering in Meter\n"));
  }
}

}  // namespace
}  // namespace orvane::test
