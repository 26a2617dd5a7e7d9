// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <fstream>
#include <sndfile.hh>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvane::test {

/// Returns the content of a file.
inline std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A sound in memory: interleaved samples.
struct Sound {
  int rate = 48000;
  int channels = 1;
  std::vector<float> samples;

  std::size_t frames() const { return samples.size() / static_cast<std::size_t>(channels); }
};

/// Writes a sound file, by default WAVE of 32-bit floats.
inline void writeSound(const std::string& path, const Sound& sound, int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT) {
  SndfileHandle file(path, SFM_WRITE, format, sound.channels, sound.rate);
  file.write(sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
}

/// Reads a whole sound file.
inline Sound readSound(const std::string& path) {
  SndfileHandle file(path);
  if (file.error() != 0) throw std::runtime_error(path + ": " + file.strError());
  Sound sound{file.samplerate(), file.channels(), {}};
  sound.samples.resize(static_cast<std::size_t>(file.frames() * file.channels()));
  file.read(sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  return sound;
}

}  // namespace orvane::test
