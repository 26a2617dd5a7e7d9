// SPDX-License-Identifier: MIT
#include "platform/host/convert/RateConverter.h"

#include <dlfcn.h>
#include <samplerate.h>

#include "platform/host/convert/InputEdge.h"
#include "platform/host/convert/OutputEdge.h"
#include "tests/support/UnitRig.h"

/// The number of calls of `src_process` that still succeed. The function below replaces the library's `src_process` in
/// this program.
static int callsLeft = 0;
int src_process(SRC_STATE* state, SRC_DATA* data) {
  static const auto original = reinterpret_cast<int (*)(SRC_STATE*, SRC_DATA*)>(dlsym(RTLD_NEXT, "src_process"));
  constexpr int badState = 2;
  return callsLeft-- > 0 ? original(state, data) : badState;
}

namespace orvane::test {
namespace {

using namespace host;

constexpr int always = 1 << 30;

class FailingConverter : public testing::Test {
 protected:
  FailingConverter() {
    callsLeft = always;
    for (float* plane : ones.planes()) std::fill_n(plane, sliceFrames, 1.0F);
  }

  static constexpr std::uint32_t sliceFrames = 256;
  AlignedSamples ones{1, sliceFrames};
  AlignedSamples played{1, sliceFrames};
  const AlignedSamples& constOnes = ones;
};

TEST_F(FailingConverter, CannotBeMade) {
  EXPECT_THROW(RateConverter(1, 1, 1000), std::runtime_error) << "a ratio that the library refuses";
  for (const int calls : {0, 3}) {
    callsLeft = calls;
    EXPECT_THROW(RateConverter(1, 48000, 44100), std::runtime_error);
  }
}

TEST_F(FailingConverter, MakesTheInputSilentForTheRestAndKeepsItsLength) {
  for (const int goodCalls : {0, 7, 15, always}) {
    callsLeft = always;
    InputEdge input({1, 48000}, {1, 44100});
    EXPECT_FALSE(input.failed());
    callsLeft = goodCalls;
    std::vector<float> heard;
    const auto take = [&] {
      while (input.next()) heard.insert(heard.end(), input.planes()[0], input.planes()[0] + input.frames());
    };
    for (int slice = 0; slice < 10; ++slice) {
      input.accept({{}, 0, sliceFrames, constOnes.planes()});
      take();
    }
    input.finish();
    take();
    EXPECT_EQ(heard.size(), 2352U) << "2560 hardware frames amount to that many";
    EXPECT_EQ(input.failed(), goodCalls != always);
    const bool endsSilent = std::all_of(heard.end() - 300, heard.end(), [](float sample) { return sample == 0; });
    EXPECT_EQ(endsSilent, input.failed());
  }
}

TEST_F(FailingConverter, MakesTheOutputSilentForTheRest) {
  OutputEdge output({1, 44100}, {1, 48000});
  callsLeft = 9;
  const platform::OutputProvider provider = [](auto&, auto&, auto frames, auto, auto& list) {
    std::fill_n(static_cast<float*>(list.buffers()[0].data), frames, 1.0F);
    return platform::status::success;
  };
  bool wasHeard = false;
  for (int slice = 0; slice < 10; ++slice) {
    EXPECT_TRUE(slice != 0 || !output.failed());
    OutputMix mix(played.planes(), sliceFrames);
    output.play(provider, {{}, 0, sliceFrames, {}}, mix);
    wasHeard = wasHeard || played.plane(0)[sliceFrames - 1] != 0;
  }
  EXPECT_TRUE(wasHeard && output.failed());
  EXPECT_THAT(std::vector(played.plane(0), played.plane(0) + sliceFrames), Each(0.0F));
}

TEST_F(FailingConverter, EndsTheRunWithAFailure) {
  for (const bool input : {true, false}) {
    callsLeft = always;
    UnitRig rig("pace=fast");
    const auto format = platform::StreamFormat::standard(44100, 1);
    (input ? rig.wrapper->outputBus(1) : rig.wrapper->inputBus(0)).setFormat(format);
    input ? rig.takeInput() : rig.playSilence();
    rig.control.endAfterFrames(48000);
    const auto breaks = rig.host.scheduler->makeWorker("breaks");
    breaks->postAt(std::chrono::milliseconds(1500), [] { callsLeft = 0; });
    EXPECT_EQ(rig.run(), platform::status::success);
    EXPECT_EQ(rig.failure(), platform::status::ioFailure);
    EXPECT_LT(rig.report.runCount().frames, 25000U);
    callsLeft = always;
  }
}

}  // namespace
}  // namespace orvane::test
