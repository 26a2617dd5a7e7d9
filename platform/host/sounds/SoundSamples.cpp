// SPDX-License-Identifier: MIT
#include "platform/host/sounds/SoundSamples.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/Status.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/convert/Interleaving.h"
#include "platform/host/files/RegularFile.h"
#include "platform/host/files/SoundFileInput.h"

namespace orvane::host {

namespace status = platform::status;

namespace {

constexpr double maxSeconds = 30;

}  // namespace

std::optional<std::string> findThemeFile(std::string_view name) {
  const char* const variable = std::getenv("XDG_DATA_DIRS");
  std::string_view folders = variable == nullptr || *variable == '\0' ? "/usr/local/share:/usr/share" : variable;
  while (!folders.empty()) {
    const std::string_view folder = folders.substr(0, folders.find(':'));
    folders.remove_prefix(std::min(folders.size(), folder.size() + 1));
    for (const char* const extension : {".oga", ".ogg", ".wav"}) {
      const std::filesystem::path path =
          std::filesystem::path(folder) / "sounds/freedesktop/stereo" / (std::string(name) + extension);
      std::error_code ignored;
      if (std::filesystem::is_regular_file(path, ignored)) return path.string();
    }
  }
  return std::nullopt;
}

Result<SoundSamples> readSoundSamples(const std::string& path) {
  auto file = openToRead(path);
  if (!file) return file.failure();
  auto input = SoundFileInput::open(std::move(*file), path, "a sound being played");
  if (!input) return input.failure();
  const SF_INFO& info = (*input)->info();
  const auto channels = static_cast<std::uint32_t>(info.channels);
  if (channels > backend::DeviceFormat::maxChannels) {
    return platform::Failure{status::unsupportedFormat, "\"" + path + "\" has more than 64 channels"};
  }
  SoundSamples sound{{channels, static_cast<double>(info.samplerate)}, PlanarFifo(channels)};
  constexpr sf_count_t blockFrames = 4096;
  std::vector<float> block(static_cast<std::size_t>(blockFrames) * channels);
  const auto maxFrames = static_cast<std::size_t>(maxSeconds * info.samplerate);
  while (sound.samples.frames() <= maxFrames) {
    const sf_count_t read = sf_readf_float((*input)->handle(), block.data(), blockFrames);
    if (read <= 0) break;
    const auto frames = static_cast<std::uint32_t>(read);
    deinterleave(block.data(), sound.samples.room(frames), 0, frames);
    sound.samples.commit(frames);
  }
  if (sound.samples.frames() > maxFrames) {
    return platform::Failure{status::unsupportedFormat, "\"" + path + "\" is longer than 30 s"};
  }
  if ((*input)->lacksLastPage()) {
    return platform::Failure{status::invalidFile, "\"" + path + "\" is cut short: it lacks its last page"};
  }
  if (auto failure = (*input)->failure()) {
    failure->reason = "\"" + path + "\" " + failure->reason;
    return *std::move(failure);
  }
  return sound;
}

SoundSamples synthesiseSound(const SoundEntry& sound) {
  constexpr double rate = 48000;
  constexpr double noteSeconds = 0.15;
  constexpr double amplitude = 0.25;
  constexpr double decaySeconds = 0.04;
  const auto noteFrames = static_cast<std::size_t>(rate * noteSeconds);
  SoundSamples result{{1, rate}, PlanarFifo(1)};
  for (const float hertz : sound.hertz) {
    float* const samples = result.samples.room(noteFrames)[0];
    for (std::size_t frame = 0; frame < noteFrames; ++frame) {
      const double seconds = static_cast<double>(frame) / rate;
      samples[frame] = static_cast<float>(amplitude * std::exp(-seconds / decaySeconds) *
                                          std::sin(2 * std::numbers::pi * hertz * seconds));
    }
    result.samples.commit(noteFrames);
  }
  return result;
}

}  // namespace orvane::host
