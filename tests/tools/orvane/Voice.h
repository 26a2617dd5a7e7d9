// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstring>
#include <random>

#include "tests/tools/orvane/Program.h"

namespace orvane::test {

/// Returns a sound for meter and recorder tests: bursts of noise of different loudness with pauses, one of them above
/// full scale, different in each channel; then special values (such as infinities, NaN and negative zero), and every
/// step of 16 bits.
inline Sound makeVoice(int rate, int channels) {
  Sound voice{rate, channels, {}};
  const auto width = static_cast<std::size_t>(channels);
  std::mt19937 random(20);
  for (std::size_t index = 0; index < 40'000; ++index) {
    const float loudness = std::array{0.8F, 0.0F, 0.05F, 1.7F, 0.3F}[(index / 8000 + index % width) % 5];
    voice.samples.push_back(std::uniform_real_distribution<float>(-loudness, loudness)(random));
  }
  for (const float odd : {1.0F, 0.99999F, 1e30F, -1e30F, 1e-30F, HUGE_VALF, -HUGE_VALF, NAN, -0.0F, 0.5F / 32768,
                          1.5F / 32768, -0.5F / 32768, -1.5F / 32768, 32767.5F / 32768, -32768.5F / 32768})
    voice.samples.push_back(odd);
  for (int step = -32768; step <= 32767; ++step) voice.samples.push_back(static_cast<float>(step) / 32768);
  voice.samples.resize(voice.frames() * width);
  return voice;
}

/// Returns noise of whole steps of 24 bits.
inline Sound makeNoise(int rate, int channels, std::size_t frames, unsigned seed = 7) {
  std::mt19937 random(seed);
  Sound sound{rate, channels, std::vector<float>(frames * static_cast<std::size_t>(channels))};
  for (float& each : sound.samples) each = static_cast<float>(random() % 0x1000000) / 0x800000 - 1;
  return sound;
}

/// Returns the 32-bit float samples that the program `ffmpeg` decodes.
inline std::vector<float> decoded(const std::string& path) {
  const std::string bytes = run("ffmpeg -v error -i " + path + " -f f32le -").output;
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  return samples;
}

/// Complete runs that play files on a speaker whose output is a file.
class PlayRun : public ToolRun {
 protected:
  /// Runs `command`, such as "queue play a.wav", in slices of 256 frames and returns what the speaker played.
  Sound played(const std::string& command, const std::string& device = {}) const {
    const Ended ended = runFast("speaker=" + mHeard + device, "--json " + command);
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_THAT(ended.output, AllOf(HasSubstr(R"("ended":"finished")"), HasSubstr(R"("discontinuities":0,)")));
    return readSound(mHeard);
  }
  std::string make(const std::string& name, const Sound& sound) const {
    writeSound(mFolder.file(name), sound);
    return mFolder.file(name);
  }

  const std::string mHeard = mFolder.file("heard.wav");
};

/// Expects `heard` to be `wanted`, with at most a slice of silence before it, and after it only the rest of the last
/// slice and one more.
inline void expectHeard(const Sound& heard, const std::vector<float>& wanted, float tolerance = 0) {
  constexpr std::size_t slice = 256;
  const auto width = static_cast<std::size_t>(heard.channels);
  ASSERT_GE(heard.samples.size(), wanted.size());
  std::size_t first = 0;
  while (first < slice * width && heard.samples[first] == 0) ++first;
  first -= first % width;
  // The sound itself may begin with silence.
  std::size_t silent = 0;
  while (silent < wanted.size() && std::abs(wanted[silent]) <= tolerance) ++silent;
  first -= std::min(first, silent - silent % width);
  ASSERT_LE(first + wanted.size(), heard.samples.size());
  EXPECT_LE(heard.samples.size(), first + wanted.size() + 2 * slice * width);
  float worst = 0;
  for (std::size_t i = 0; i < wanted.size(); ++i)
    worst = std::max(worst, std::abs(heard.samples[first + i] - wanted[i]));
  EXPECT_LE(worst, tolerance);
  EXPECT_THAT(
      std::vector(heard.samples.begin() + static_cast<std::ptrdiff_t>(first + wanted.size()), heard.samples.end()),
      Each(0.0F));
}

/// Returns the samples of `sound` on a device with `outputs` channels: one channel goes to all, and to one go all;
/// otherwise channels correspond, and missing ones are silent. A sound with more than one channel may have one output
/// only if it has two channels.
inline std::vector<float> mapped(const Sound& sound, int outputs) {
  std::vector<float> samples;
  for (std::size_t frame = 0; frame < sound.frames(); ++frame) {
    const float* const from = sound.samples.data() + frame * static_cast<std::size_t>(sound.channels);
    for (int channel = 0; channel < outputs; ++channel) {
      samples.push_back(outputs == 1               ? (from[0] + from[1]) / 2
                        : sound.channels == 1      ? from[0]
                        : channel < sound.channels ? from[channel]
                                                   : 0);
    }
  }
  return samples;
}

/// Returns the samples that a recording of `sound` must contain, as little-endian 16-bit integers.
inline std::string encoded(const Sound& sound) {
  std::string bytes;
  for (const float sample : sound.samples) {
    const auto step = std::isnan(sample) ? 0 : std::lrint(std::clamp(sample * 32768.0, -32768.0, 32767.0));
    bytes += {static_cast<char>(step & 0xFF), static_cast<char>(step >> 8 & 0xFF)};
  }
  return bytes;
}

}  // namespace orvane::test
