#pragma once

#include <sndfile.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvane::test {

/// A sound in memory: interleaved samples.
struct Sound {
  int rate = 48000;
  int channels = 1;
  std::vector<float> samples;

  std::size_t frames() const { return samples.size() / static_cast<std::size_t>(channels); }
};

/// Writes a WAVE file of 32-bit floats, or of the given libsndfile format.
inline void writeSound(const std::string& path, const Sound& sound, int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT) {
  SF_INFO info{};
  info.samplerate = sound.rate;
  info.channels = sound.channels;
  info.format = format;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  if (file == nullptr) throw std::runtime_error(path + ": " + sf_strerror(nullptr));
  sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  sf_write_float(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  sf_close(file);
}

/// Reads a whole sound file.
inline Sound readSound(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (file == nullptr) throw std::runtime_error(path + ": " + sf_strerror(nullptr));
  Sound sound{info.samplerate, info.channels, {}};
  sound.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
  sf_read_float(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  sf_close(file);
  return sound;
}

}  // namespace orvane::test
