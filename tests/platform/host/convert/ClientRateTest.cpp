// SPDX-License-Identifier: MIT
#include <complex>

#include "platform/host/convert/InputEdge.h"
#include "tests/support/UnitRig.h"

namespace orvane::test {
namespace {

/// Expects `seconds` seconds of `samples`, starting at second `first`, to be a sine of `hertz` hertz whose phase was 0
/// at `samples[0]`.
void expectTone(const std::vector<float>& samples, double first, int seconds, double hertz, int rate,
                double maxPhase = 1e-3) {
  const auto begin = static_cast<std::size_t>(first * rate);
  const auto end = begin + static_cast<std::size_t>(seconds * rate);
  ASSERT_LE(end, samples.size());
  const double whole = seconds * rate;
  const auto turn = [&](std::size_t frame) {
    return std::polar(1.0, 2 * M_PI * hertz * static_cast<double>(frame) / rate);
  };
  // Least squares: over whole periods the sine and the cosine are orthogonal.
  std::complex<double> tone;
  for (std::size_t i = begin; i < end; ++i) tone += std::complex(0.0, samples[i] * 2 / whole) / turn(i);
  double noise = 0;
  for (std::size_t i = begin; i < end; ++i) noise += std::pow(samples[i] - (tone * turn(i)).imag(), 2) / whole;
  EXPECT_NEAR(20 * std::log10(std::abs(tone) / 0.5), 0, 0.1);
  EXPECT_LT(10 * std::log10(noise / (std::norm(tone) / 2)), -90);
  EXPECT_NEAR(std::arg(tone), 0, maxPhase);
}

/// A unit with one channel whose client formats have a different rate than the hardware.
struct Rig : UnitRig {
  Rig(int hardware, int client, const std::string& options)
      : UnitRig("pace=fast,outputs=1,rate=" + std::to_string(hardware) + "," + options) {
    for (platform::UnitBus* bus : {&wrapper->outputBus(1), &wrapper->inputBus(0)})
      EXPECT_FALSE(bus->setFormat(platform::StreamFormat::standard(client, 1)).has_value());
  }
  platform::UnitLatency run(double frames) {
    control.endAfterFrames(static_cast<std::uint64_t>(frames));
    EXPECT_EQ(UnitRig::run(), 0);
    return host.units->latency(unit);
  }
};

TEST(ClientRate, AToneKeepsItsLevelPhaseAndLengthThroughEveryPairOfRates) {
  constexpr int rates[] = {8000, 16000, 22050, 44100, 48000, 96000};
  const TemporaryFolder folder;
  for (const int hardware : rates) {
    for (const int client : rates) {
      if (hardware == client) continue;
      SCOPED_TRACE(std::to_string(hardware) + " hardware, " + std::to_string(client) + " client");
      Rig rig(hardware, client, "slice=100,mic=tone:1000:0.5,speaker=" + folder.file("out.wav"));
      rig.takeInput();
      rig.play(
          [&](double frame, auto) { return static_cast<float>(0.5 * std::sin(2 * M_PI * 1000 * frame / client)); });
      const auto [input, output] = rig.run(1.3 * hardware);
      EXPECT_TRUE(input > 0 && output > 0);
      const auto ran = static_cast<double>(rig.report.runCount().frames);
      EXPECT_EQ(static_cast<double>(rig.captured.size()), std::ceil(ran * client / hardware));
      expectTone(rig.captured, 0.1, 1, 1000, client);
      expectTone(readSound(folder.file("out.wav")).samples, 0.1, 1, 1000, hardware);
    }
  }
}

TEST(ClientRate, AnHourDoesNotDrift) {
  // The rates are low, so that an hour has few samples. Their ratio, 160 to 147, is that of 48000 to 44100.
  Rig rig(480, 441, "mic=tone:50:0.5");
  rig.takeInput();
  rig.run(3600 * 480);
  ASSERT_EQ(rig.captured.size(), 3600 * 441U);
  expectTone(rig.captured, 3590, 8, 50, 441);
}

TEST(ClientRate, ARenderInsideAnOutputProviderNeverRunsDry) {
  const TemporaryFolder folder;
  for (const auto& [hardware, client] : {std::pair(48000, 44100), std::pair(44100, 48000), std::pair(48000, 8000)}) {
    SCOPED_TRACE(std::to_string(hardware) + " hardware, " + std::to_string(client) + " client");
    Rig rig(hardware, client, "slice=64,mic=tone:1000:0.5,speaker=" + folder.file("out.wav"));
    rig.wrapper->setInputEnabled(true);
    rig.wrapper->setOutputProvider(
        [render = rig.wrapper->renderOperation()](auto& flags, auto& time, auto frames, int, auto& list) {
          return render(flags, time, frames, 1, list, nullptr);
        });
    rig.run(3 * hardware);
    expectTone(readSound(folder.file("out.wav")).samples, 0.5, 2, 1000, hardware, M_PI);
  }
}

TEST(ClientRate, AProviderThatRefusesIsSilentAndIsAskedAgain) {
  const TemporaryFolder folder;
  Rig rig(48000, 44100, "slice=64,speaker=" + folder.file("out.wav"));
  int asked = 0;
  rig.wrapper->setOutputProvider([&](auto&, auto&, std::uint32_t frames, int, auto& list) {
    for (auto& buffer : list.buffers()) std::fill_n(static_cast<float*>(buffer.data), frames, 1.0F);
    return ++asked < 100 ? platform::status::wrongState : platform::status::success;
  });
  rig.run(48000);
  const std::vector<float> heard = readSound(folder.file("out.wav")).samples;
  EXPECT_THAT(std::vector(heard.begin(), heard.begin() + 4000), Each(testing::FloatNear(0, 1e-3F)));
  EXPECT_NEAR(heard.back(), 1.0F, 1e-3F);
}

TEST(ClientRate, FetchesOfAnyLengthStayInsideTheStore) {
  const host::AlignedSamples captured(1, 256);
  host::InputEdge input({1, 48000}, {1, 96000});
  for (const std::uint32_t frames : {1U, 4096U, 0U, 512U}) {
    for (int slice = 0; slice < 200; ++slice) {
      input.accept({{}, 0, 256, captured.planes()});
      ASSERT_TRUE(input.fetch(frames));
      ASSERT_EQ(input.frames(), frames);
    }
  }
  EXPECT_FALSE(input.fetch(4097));
}

}  // namespace
}  // namespace orvane::test
