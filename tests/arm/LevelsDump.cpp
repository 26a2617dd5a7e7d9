// Prints the bits of levels and tones over seeded random input, so that two processors can be compared line by line.
//
// What a C library computes (the per-block fractions, the resonator's coefficient) is set to random values here: it may
// differ in its last bit between libraries.

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <type_traits>
#include <vector>

#include "iounit/LockstepMeter.h"
#include "iounit/PowerMeter.h"
#include "iounit/Sine.h"
#include "iounit/SineWaveGenerator.h"

namespace {

/// SplitMix64 (Steele, Lea and Flood, 2014).
class Random {
 public:
  explicit Random(std::uint64_t seed) : mState(seed) {}

  std::uint64_t bits() {
    std::uint64_t z = (mState += 0x9E3779B97F4A7C15U);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
  }
  int below(int limit) { return static_cast<int>(bits() % static_cast<std::uint64_t>(limit)); }
  double unit() { return static_cast<double>(bits() >> 11) * 0x1p-53; }
  bool once(int in) { return below(in) == 0; }
  template <typename Integer>
  Integer integer() {
    return static_cast<Integer>(static_cast<std::make_unsigned_t<Integer>>(bits()));
  }

 private:
  std::uint64_t mState;
};

void print(double value) {
  // The sign of a number that is none differs between processors and means nothing.
  if (std::isnan(value)) {
    std::printf(" nan");
  } else {
    std::printf(" %016llx", static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(value)));
  }
}

void print(std::int32_t value) {
  std::printf(" %08x", static_cast<unsigned>(value));
}

void print(float value) {
  print(std::bit_cast<std::int32_t>(value));
}

void print(const orvane::PowerMeter& meter) {
  for (double level : {meter.mMeanSquare, meter.mPeakLevel, meter.mAverageLevel, meter.mPeakHold}) print(level);
  for (float lane : meter.mLaneMeanSquare) print(lane);
  print(meter.mMaxPeak);
  print(meter.mMeanSquareInt);
  print(meter.mHoldCounter);
  std::printf(" %d%d\n", meter.mSawInfinity ? 1 : 0, meter.mSawNaN ? 1 : 0);
}

constexpr int kMostFrames = 300;
constexpr int kMostStride = 3;

/// Mostly a signal of a random loudness; now and then a value at the edge of the number format.
float sample(Random& random, double loudness) {
  using Limits = std::numeric_limits<float>;
  constexpr std::array kEdges = {Limits::infinity(), -Limits::infinity(),  Limits::quiet_NaN(), Limits::max(),
                                 -Limits::max(),     Limits::denorm_min(), Limits::min(),       -0.0F};
  if (random.once(2000)) return kEdges[static_cast<std::size_t>(random.below(kEdges.size()))];
  return static_cast<float>((random.unit() * 2.0 - 1.0) * loudness);
}

void meterBlock(orvane::PowerMeter& meter, Random& random) {
  alignas(16) static std::array<float, kMostFrames * kMostStride + 4> floats;
  static std::array<std::int16_t, kMostFrames * kMostStride> shorts;
  static std::array<std::int32_t, kMostFrames * kMostStride> fixed;

  const int frames = random.below(kMostFrames);
  const int stride = random.once(2) ? 1 : 1 + random.below(kMostStride);
  meter.mBlockSize = frames;  // keeps the fractions that were set
  meter.mHoldDecay = random.unit();
  meter.mRelease = random.unit();
  switch (random.below(4)) {
    case 0:
      for (std::int16_t& value : shorts) value = random.integer<std::int16_t>();
      return meter.Process_Int16(shorts.data(), stride, frames);
    case 1: {
      const int shift = random.below(16);
      for (std::int32_t& value : fixed) value = random.integer<std::int32_t>() >> shift;
      return meter.Process_Int32(fixed.data(), stride, frames);
    }
    default: {
      const double loudness = random.once(20) ? 0.0 : std::ldexp(1.0, random.below(24) - 20);
      for (float& value : floats) value = sample(random, loudness);
      // Half of the blocks lie where the vectorised path takes them.
      const int offset = random.once(2) ? 0 : 1 + random.below(3);
      return meter.Process(floats.data() + offset, stride, frames);
    }
  }
}

void dumpLevels(Random& random) {
  for (int stream = 0; stream < 400; ++stream) {
    orvane::PowerMeter meter;
    meter.mSampleRate = random.unit() * 96000.0;
    meter.mInstantaneous = random.once(8);
    for (int block = 0; block < 25; ++block) {
      meterBlock(meter, random);
      if (random.once(40)) meter.ProcessSilence(0);
      if (random.once(40)) meter.ClearClipping();
      if (random.once(60)) meter.Reset();
      std::printf("level %d.%d", stream, block);
      print(meter);
    }
  }
}

/// Several channels at once, which one processor takes in wider registers than another.
void dumpLockstep(Random& random) {
  struct alignas(16) Plane {
    std::array<float, kMostFrames> samples;
  };
  for (int stream = 0; stream < 60; ++stream) {
    std::vector<orvane::PowerMeter> meters(static_cast<std::size_t>(1 + random.below(19)));
    std::vector<Plane> planes(meters.size());
    std::vector<const float*> starts;
    for (const Plane& plane : planes) starts.push_back(plane.samples.data());
    for (int block = 0; block < 10; ++block) {
      const int frames = random.below(kMostFrames);
      for (std::size_t channel = 0; channel < meters.size(); ++channel) {
        meters[channel].mSampleRate = random.unit() * 96000.0;
        meters[channel].mBlockSize = frames;
        meters[channel].mHoldDecay = random.unit();
        meters[channel].mRelease = random.unit();
        for (float& value : planes[channel].samples) value = sample(random, random.unit());
      }
      orvane::processTogether(meters, starts, frames);
      for (const orvane::PowerMeter& meter : meters) {
        std::printf("lockstep %d.%d", stream, block);
        print(meter);
      }
    }
  }
}

/// Sines of angles of any size.
void dumpSines(Random& random) {
  for (int index = 0; index < 20000; ++index) {
    const auto angle = std::bit_cast<float>(random.integer<std::int32_t>());
    std::printf("sine");
    print(double{angle});
    print(double{orvane::sineOf(angle)});
    std::printf("\n");
  }
}

void dumpTones(Random& random) {
  constexpr std::uint32_t kFrames = 256;
  std::array<float, 2 * kFrames> floats = {};
  std::array<std::int16_t, 2 * kFrames> shorts = {};
  for (int tone = 0; tone < 60; ++tone) {
    orvane::SineWaveGenerator generator;
    generator.mFrequency = static_cast<float>(20.0 + random.unit() * 20000.0);
    generator.mAmplitude = static_cast<float>(random.unit());
    generator.mSweepFactor = random.once(4) ? 1.25F : 1.0F;
    generator.SetSampleRate(static_cast<float>(8000 + random.below(184000)));
    generator.mCoefficient = random.integer<std::int32_t>();
    generator.mState2 = random.integer<std::int32_t>() >> 3;
    const int channels = 1 + random.below(2);
    for (int block = 0; block < 4; ++block) {
      generator.Render(floats.data(), kFrames, channels, 1);
      generator.Render16(shorts.data(), kFrames, channels, 1);
      for (std::size_t index = 0; index < kFrames * static_cast<std::size_t>(channels); ++index) {
        std::printf("tone %d.%d.%zu", tone, block, index);
        print(floats[index]);
        std::printf(" %04x\n", static_cast<unsigned>(static_cast<std::uint16_t>(shorts[index])));
      }
      std::printf("state %d.%d", tone, block);
      for (float value : {generator.mFrequency, generator.mPhase, generator.mSweepFactor}) print(value);
      for (std::int32_t value : {generator.mState1, generator.mState2}) print(value);
      std::printf("\n");
    }
  }
}

}  // namespace

int main() {
  Random random(20240229);
  dumpLevels(random);
  dumpLockstep(random);
  dumpSines(random);
  dumpTones(random);
  return std::fflush(stdout) == 0 ? 0 : 1;
}
