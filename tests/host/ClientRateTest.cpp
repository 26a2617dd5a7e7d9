#include <cmath>

#include "tests/host/UnitRig.h"

namespace orvane::test {
namespace {

constexpr double toneHertz = 1000;
constexpr double amplitude = 0.5;

/// Whether samples from `first` on are the sine that went in, in phase from the first sample of all on.
void expectTone(const std::vector<float>& samples, std::size_t first, std::size_t last, double hertz, double rate,
                double mostPhase = 1e-3) {
  // Least squares over whole periods: there the sine and the cosine are orthogonal.
  const auto whole = static_cast<std::size_t>(rate * std::floor(static_cast<double>(last - first) / rate));
  const auto angle = [&](std::size_t index) { return 2 * M_PI * hertz * static_cast<double>(index) / rate; };
  double inPhase = 0;
  double quadrature = 0;
  for (std::size_t index = first; index < first + whole; ++index) {
    inPhase += samples[index] * std::sin(angle(index)) * 2 / static_cast<double>(whole);
    quadrature += samples[index] * std::cos(angle(index)) * 2 / static_cast<double>(whole);
  }
  double noise = 0;
  for (std::size_t index = first; index < first + whole; ++index) {
    noise += std::pow(samples[index] - inPhase * std::sin(angle(index)) - quadrature * std::cos(angle(index)), 2);
  }
  const double level = std::hypot(inPhase, quadrature);
  EXPECT_NEAR(20 * std::log10(level / amplitude), 0, 0.1);
  EXPECT_LT(10 * std::log10(noise / static_cast<double>(whole) / (level * level / 2)), -90);
  EXPECT_NEAR(std::atan2(quadrature, inPhase), 0, mostPhase);
}

/// A unit of one channel whose client side runs at a rate of its own.
struct Rig : UnitRig {
  Rig(int hardware, int client, const std::string& options)
      : UnitRig("pace=fast,outputs=1,rate=" + std::to_string(hardware) + "," + options) {
    for (platform::UnitBus* bus : {&wrapper->outputBus(1), &wrapper->inputBus(0)}) {
      EXPECT_FALSE(bus->setFormat(platform::StreamFormat::standard(client, 1)).has_value());
    }
  }
  platform::UnitLatency run(double frames) {
    report.endAfterFrames(static_cast<std::uint64_t>(frames));
    EXPECT_EQ(UnitRig::run(), 0);
    return report.unitLatency(unit);
  }
};

TEST(ClientRate, AToneKeepsItsLevelPhaseAndLengthThroughEveryPairOfRates) {
  constexpr int rates[] = {8000, 16000, 22050, 44100, 48000, 96000};
  const TemporaryFolder folder;
  const std::string speaker = folder.file("out.wav");
  for (const int hardware : rates) {
    for (const int client : rates) {
      if (hardware == client) continue;
      SCOPED_TRACE(std::to_string(hardware) + " hardware, " + std::to_string(client) + " client");
      Rig input(hardware, client, "slice=100,mic=tone:1000:0.5");
      input.takeInput();
      EXPECT_GT(input.run(1.3 * hardware).input, 0U);
      const auto ran = static_cast<double>(input.report.runCount().frames);
      EXPECT_EQ(static_cast<double>(input.captured.size()), std::ceil(ran * client / hardware));
      const auto margin = static_cast<std::size_t>(client) / 10;
      expectTone(input.captured, margin, input.captured.size() - margin, toneHertz, client);

      Rig output(hardware, client, "slice=100,speaker=" + speaker);
      output.play([client](double frame, auto) {
        return static_cast<float>(amplitude * std::sin(2 * M_PI * toneHertz * frame / client));
      });
      EXPECT_GT(output.run(1.3 * hardware).output, 0U);
      const Sound played = readSound(speaker);
      const auto edge = static_cast<std::size_t>(hardware) / 10;
      expectTone(played.samples, edge, played.frames() - edge, toneHertz, hardware);
    }
  }
}

TEST(ClientRate, AnHourDoesNotDrift) {
  // Low rates, so that an hour is short; the ratio is as awkward as that of the usual ones.
  constexpr std::size_t client = 441;
  Rig rig(480, client, "mic=tone:50:0.5");
  rig.takeInput();
  rig.run(3600 * 480);
  ASSERT_EQ(rig.captured.size(), 3600 * client);
  expectTone(rig.captured, 3590 * client, 3598 * client, 50, client);
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
    const auto half = static_cast<std::size_t>(hardware) / 2;
    const Sound played = readSound(folder.file("out.wav"));
    expectTone(played.samples, half, 5 * half, toneHertz, hardware, M_PI);
  }
}

}  // namespace
}  // namespace orvane::test
