#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/Report.h"
#include "platform/UnitService.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane {
namespace {

using platform::RenderActionFlags;
using platform::RenderBufferList;
using platform::RenderTimeStamp;
using platform::StreamFormat;
using platform::UnitInstance;

constexpr double toneHertz = 1000;
constexpr double amplitude = 0.5;

/// How well samples are the sine that they should be, in phase from the first sample on.
struct Quality {
  double levelDecibels;  ///< Against the amplitude that went in.
  double noiseDecibels;  ///< What is no sine of the frequency, against the sine.
  double phase;          ///< Radians from where the sine should be.
};

Quality qualityOf(const std::vector<float>& samples, std::size_t first, std::size_t last, double hertz, double rate) {
  // Least squares over whole periods: there the sine and the cosine are orthogonal.
  const auto whole = static_cast<std::size_t>(rate * std::floor(static_cast<double>(last - first) / rate));
  double inPhase = 0;
  double quadrature = 0;
  for (std::size_t index = first; index < first + whole; ++index) {
    const double angle = 2 * M_PI * hertz * static_cast<double>(index) / rate;
    inPhase += samples[index] * std::sin(angle) * 2 / static_cast<double>(whole);
    quadrature += samples[index] * std::cos(angle) * 2 / static_cast<double>(whole);
  }
  double noise = 0;
  for (std::size_t index = first; index < first + whole; ++index) {
    const double angle = 2 * M_PI * hertz * static_cast<double>(index) / rate;
    noise += std::pow(samples[index] - inPhase * std::sin(angle) - quadrature * std::cos(angle), 2);
  }
  const double level = std::hypot(inPhase, quadrature);
  return {20 * std::log10(level / amplitude), 10 * std::log10(noise / static_cast<double>(whole) / (level * level / 2)),
          std::atan2(quadrature, inPhase)};
}

/// A unit whose client side runs at a rate of its own.
class Rig {
 public:
  Rig(const std::string& options, double rate) : host(platform::makeSimulatedHost("pace=fast," + options)) {
    EXPECT_EQ(host.units->createInstance(host.units->findComponent({}), unit), 0);
    wrapper = host.units->wrap(unit);
    EXPECT_EQ(host.units->initialize(unit), 0);
    EXPECT_FALSE(wrapper->outputBus(1).setFormat(StreamFormat::standard(rate, 1)).has_value());
    EXPECT_FALSE(wrapper->inputBus(0).setFormat(StreamFormat::standard(rate, 1)).has_value());
  }
  ~Rig() { host.units->dispose(unit); }

  void run(std::uint64_t frames) {
    host.report->endAfterFrames(frames);
    host.report->onDeviceEnd([this] { host.eventLoop->stop(); });
    ASSERT_EQ(host.units->start(unit), 0);
    latency = host.report->unitLatency(unit);
    host.eventLoop->run();
    host.units->stop(unit);
  }

  /// Hands every input sample to `take` until the run ends, the remainder at stop included.
  template <typename Take>
  void capture(std::uint64_t frames, Take take) {
    wrapper->setInputEnabled(true);
    wrapper->setOutputEnabled(false);
    std::uint64_t handed = 0;
    wrapper->setInputHandler([&, render = wrapper->renderOperation()](
                                 RenderActionFlags& flags, const RenderTimeStamp& time, std::uint32_t count, int bus) {
      List list;
      ASSERT_EQ(render(flags, time, count, bus, list.header, nullptr), 0);
      ASSERT_EQ(time.sampleTime, static_cast<double>(handed));
      for (std::uint32_t frame = 0; frame < count; ++frame) {
        take(handed++, static_cast<const float*>(list.entry.data)[frame]);
      }
    });
    run(frames);
    wrapper->setInputHandler(nullptr);
  }

  struct List {
    RenderBufferList header{1};
    platform::RenderBuffer entry{1, 0, nullptr};
  };
  platform::Platform host;
  UnitInstance unit = UnitInstance::none;
  std::shared_ptr<platform::UnitWrapper> wrapper;
  platform::UnitLatency latency;
};

std::string rateOption(int rate) {
  return "rate=" + std::to_string(rate);
}

TEST(ClientRate, AToneKeepsItsLevelPhaseAndLengthThroughEveryPairOfRates) {
  constexpr int rates[] = {8000, 16000, 22050, 44100, 48000, 96000};
  const test::TemporaryFolder folder;
  for (const int hardware : rates) {
    for (const int client : rates) {
      if (hardware == client) continue;
      SCOPED_TRACE(std::to_string(hardware) + " hardware, " + std::to_string(client) + " client");
      const auto frames = static_cast<std::uint64_t>(1.3 * hardware);

      Rig input(rateOption(hardware) + ",slice=100,mic=tone:1000:0.5", client);
      std::vector<float> captured;
      captured.reserve(static_cast<std::size_t>(2 * client));
      input.capture(frames, [&](std::uint64_t, float sample) { captured.push_back(sample); });
      const std::uint64_t ran = input.host.report->runCount().frames;
      EXPECT_EQ(captured.size(), (ran * static_cast<std::uint64_t>(client) + static_cast<std::uint64_t>(hardware) - 1) /
                                     static_cast<std::uint64_t>(hardware));
      const auto margin = static_cast<std::size_t>(client) / 10;
      const Quality in = qualityOf(captured, margin, captured.size() - margin, toneHertz, client);
      EXPECT_NEAR(in.levelDecibels, 0, 0.1);
      EXPECT_LT(in.noiseDecibels, -90);
      EXPECT_NEAR(in.phase, 0, 1e-3);
      EXPECT_GT(input.latency.input, 0U);

      const std::string speaker = folder.file("out.wav");
      Rig output(rateOption(hardware) + ",slice=100,outputs=1,speaker=" + speaker, client);
      output.wrapper->setOutputProvider(
          [&](RenderActionFlags&, const RenderTimeStamp& time, std::uint32_t count, int, RenderBufferList& list) {
            for (std::uint32_t frame = 0; frame < count; ++frame) {
              static_cast<float*>(list.buffers()[0].data)[frame] =
                  static_cast<float>(amplitude * std::sin(2 * M_PI * toneHertz * (time.sampleTime + frame) / client));
            }
            return platform::status::success;
          });
      output.run(frames);
      const test::Sound played = test::readSound(speaker);
      const auto edge = static_cast<std::size_t>(hardware) / 10;
      const Quality out = qualityOf(played.samples, edge, played.frames() - edge, toneHertz, hardware);
      EXPECT_NEAR(out.levelDecibels, 0, 0.1);
      EXPECT_LT(out.noiseDecibels, -90);
      EXPECT_NEAR(out.phase, 0, 1e-3);
      EXPECT_GT(output.latency.output, 0U);
    }
  }
}

TEST(ClientRate, AnHourDoesNotDrift) {
  // Low rates, so that an hour is short; the ratio is as awkward as that of the usual ones.
  constexpr int hardware = 480;
  constexpr int client = 441;
  Rig rig(rateOption(hardware) + ",mic=tone:50:0.5", client);
  std::vector<float> lastSeconds;
  const std::uint64_t from = 3590ULL * client;
  std::uint64_t count = 0;
  lastSeconds.reserve(20 * client);
  rig.capture(3600ULL * hardware, [&](std::uint64_t frame, float sample) {
    if (frame >= from) lastSeconds.push_back(sample);
    ++count;
  });
  EXPECT_EQ(count, 3600ULL * client);
  const Quality quality = qualityOf(lastSeconds, 0, 8 * client, 50, client);
  EXPECT_NEAR(quality.phase, 0, 1e-3);
  EXPECT_LT(quality.noiseDecibels, -90);
}

TEST(ClientRate, ARenderInsideAnOutputProviderNeverRunsDry) {
  const test::TemporaryFolder folder;
  for (const auto& [hardware, client] : {std::pair(48000, 44100), std::pair(44100, 48000), std::pair(48000, 8000)}) {
    Rig rig(rateOption(hardware) + ",slice=64,outputs=1,mic=tone:1000:0.5,speaker=" + folder.file("out.wav"), client);
    rig.wrapper->setInputEnabled(true);
    rig.wrapper->setOutputProvider(
        [render = rig.wrapper->renderOperation()](auto& flags, auto& time, auto frames, int, auto& list) {
          return render(flags, time, frames, 1, list, nullptr);
        });
    rig.run(static_cast<std::uint64_t>(3 * hardware));
    const test::Sound played = test::readSound(folder.file("out.wav"));
    const auto first = static_cast<std::size_t>(hardware) / 2;
    const Quality quality =
        qualityOf(played.samples, first, first + static_cast<std::size_t>(2 * hardware), toneHertz, hardware);
    EXPECT_NEAR(quality.levelDecibels, 0, 0.1) << hardware << " " << client;
    EXPECT_LT(quality.noiseDecibels, -90) << hardware << " " << client;
  }
}

}  // namespace
}  // namespace orvane
