// SPDX-License-Identifier: MIT

// Prints the bits of levels and tones over seeded random input, so that two processors can be compared line by line.
//
// The values that a C library computes (the per-block fractions, the resonator's coefficient) may differ in their last
// bit between libraries, so this program sets them to random values.

#include <cstdio>

#include "iounit/dsp/LockstepMeter.h"
#include "iounit/dsp/PowerMeter.h"
#include "iounit/dsp/Sine.h"
#include "iounit/dsp/SineWaveGenerator.h"
#include "tests/iounit/dsp/Random.h"

namespace {

using namespace orvane::test;

void print(const char* name, int number, const std::vector<std::uint64_t>& bits) {
  std::printf("%s %d", name, number);
  for (const std::uint64_t word : bits) std::printf(" %016llx", static_cast<unsigned long long>(word));
  std::printf("\n");
}

/// Prints the levels of random blocks for one channel and for several channels in lockstep. Some processors have wider
/// registers for channels in lockstep; the output must not depend on the width.
void dumpLevels(Random& random) {
  constexpr int maxChannels = 19, maxFrames = 300;
  alignas(16) static float floats[maxChannels][maxFrames + 4];
  std::int16_t shorts[maxFrames];
  std::int32_t words[maxFrames];
  for (int stream = 0; stream < 400; ++stream) {
    std::vector<orvane::PowerMeter> meters(static_cast<std::size_t>(stream % 5 == 0 ? random.draw(1, maxChannels) : 1));
    for (orvane::PowerMeter& meter : meters) meter.mInstantaneous = random.draw(0, 7) == 0;
    for (int block = 0; block < 25; ++block) {
      const int frames = random.draw(0, maxFrames), format = random.draw(0, 2);
      // About half of the blocks are aligned, so that the vectorised path processes them.
      const int offset = random.draw(0, 1) * random.draw(1, 3);
      std::vector<const float*> planes;
      for (orvane::PowerMeter& meter : meters) {
        meter.mSampleRate = double{random.drawBetween(1.0F, 96000.0F)};
        meter.mBlockSize = frames;  // keeps the fractions that are set
        meter.mHoldDecay = double{random.drawBetween(0.0F, 1.0F)};
        meter.mRelease = double{random.drawBetween(0.0F, 1.0F)};
        const int kind = random.draw(0, 12);
        auto& plane = floats[planes.size()];
        for (float& sample : plane) sample = random.drawSample(kind);
        for (std::int32_t& word : words) word = random.drawWord(kind);
        for (std::int16_t& sample : shorts) sample = static_cast<std::int16_t>(random.drawWord(kind) >> 16);
        planes.push_back(plane + offset);
        if (format == 0) meter.Process_Int16(shorts, 1, frames);
        if (format == 1) meter.Process_Int32(words, 1, frames);
      }
      if (format == 2) orvane::processTogether(meters, planes, frames);
      for (orvane::PowerMeter& meter : meters) {
        if (random.draw(0, 30) == 0) meter.Reset();
        print("level", stream, fieldsOf(meter));
      }
    }
  }
}

void dumpTones(Random& random) {
  constexpr std::size_t frames = 256;
  for (int tone = 0; tone < 60; ++tone) {
    orvane::SineWaveGenerator generator;
    generator.mFrequency = random.drawBetween(20.0F, 20020.0F);
    generator.mAmplitude = random.drawBetween(0.0F, 1.0F);
    generator.mSweepFactor = random.draw(0, 3) == 0 ? 1.25F : 1.0F;
    generator.SetSampleRate(static_cast<float>(random.draw(8000, 192000)));
    generator.mCoefficient = random.draw(Words::min(), Words::max());
    generator.mState2 = random.draw(-(1 << 28), 1 << 28);
    const int channels = random.draw(1, 2);
    std::vector<float> floats(2 * frames);
    std::vector<std::int16_t> shorts(2 * frames);
    for (int block = 0; block < 4; ++block) {
      generator.Render(floats.data(), frames, channels, 1);
      generator.Render16(shorts.data(), frames, channels, 1);
      print("tone", tone, bitsOf(floats));
      print("tone", tone, bitsOf(shorts));
      print("tone", tone, bitsOf(std::vector{generator.mFrequency, generator.mPhase, generator.mSweepFactor}));
      print("tone", tone, bitsOf(std::vector{generator.mState1, generator.mState2}));
    }
  }
}

}  // namespace

int main() {
  Random random;
  dumpLevels(random);
  for (int index = 0; index < 20000; ++index) {
    const auto angle = std::bit_cast<float>(random.draw(Words::min(), Words::max()));
    print("sine", index, bitsOf(std::vector{angle, orvane::sineOf(angle)}));
  }
  dumpTones(random);
  return std::fflush(stdout) == 0 ? 0 : 1;
}
