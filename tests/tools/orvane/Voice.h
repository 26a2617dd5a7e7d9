// SPDX-License-Identifier: MIT
#pragma once

#include <array>
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
