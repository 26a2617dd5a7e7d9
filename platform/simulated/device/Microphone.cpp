// SPDX-License-Identifier: MIT
#include "platform/simulated/device/Microphone.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <string_view>
#include <utility>

#include "platform/NumberText.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/convert/ChannelRule.h"
#include "platform/simulated/device/MicrophoneFile.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

namespace {

class Silence final : public Microphone {
 public:
  std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) override {
    for (float* plane : planes) std::fill_n(plane, frames, 0.0F);
    return frames;
  }
};

class Tone final : public Microphone {
 public:
  Tone(std::string where, double frequency, double amplitude)
      : mWhere(std::move(where)), mFrequency(frequency), mAmplitude(amplitude) {}

  void prepare(std::uint32_t rate, std::uint32_t) override {
    // Hardware that reports no rate cannot be started, so the frequency does not matter.
    if (rate > 0 && mFrequency > rate / 2.0) {
      refuse(mWhere, "at a rate of " + std::to_string(rate) + " Hz a tone has at most " +
                         platform::numberText(rate / 2.0) + " Hz, not " + platform::numberText(mFrequency));
    }
    mRate = rate;
  }

  std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) override {
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
      const double periods = static_cast<double>(mFrame++) * mFrequency / mRate;
      const double sine = std::sin(2 * std::numbers::pi * (periods - std::floor(periods)));
      for (float* plane : planes) plane[frame] = static_cast<float>(mAmplitude * sine);
    }
    return frames;
  }

 private:
  std::string mWhere;
  double mFrequency;
  double mAmplitude;
  double mRate = 1;
  std::uint64_t mFrame = 0;
};

/// Noise from the splitmix64 generator (Steele, Lea and Flood, 2014). The top 24 bits of each number become one sample,
/// frame by frame and, within a frame, channel by channel.
class Noise final : public Microphone {
 public:
  explicit Noise(std::uint64_t seed) : mState(seed) {}

  std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) override {
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
      for (float* plane : planes) plane[frame] = static_cast<float>(next() >> 40) * 0x1p-23F - 1.0F;
    }
    return frames;
  }

 private:
  std::uint64_t next() {
    mState += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = mState;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
  }

  std::uint64_t mState;
};

class Loop final : public Microphone {
 public:
  void prepare(std::uint32_t, std::uint32_t outputs) override {
    mPlayed.emplace(outputs, backend::DeviceFormat::maxSliceFrames);
  }

  std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) override {
    const host::AlignedSamples& played = *mPlayed;
    for (std::uint32_t channel = 0; channel < planes.size(); ++channel) {
      host::applyChannelRule(played.planes(), channel, static_cast<std::uint32_t>(planes.size()), planes[channel],
                             frames);
    }
    return frames;
  }

  void receiveOutput(std::span<const float* const> planes, std::uint32_t frames) override {
    for (std::uint32_t channel = 0; channel < planes.size(); ++channel) {
      std::copy_n(planes[channel], frames, mPlayed->plane(channel));
    }
  }

 private:
  std::optional<host::AlignedSamples> mPlayed;  ///< The last slice that the speaker played; silence before the first.
};

constexpr std::string_view toneWord = "tone:";
constexpr std::string_view seededNoiseWord = "noise:";

/// Parses `text`, which must be a number from `min` to `max` and nothing else; otherwise throws an exception that names
/// `what`.
double parseNumber(const std::string& where, std::string_view text, const char* what, double min, double max) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !(number >= min && number <= max)) {
    refuse(where, std::string("the ") + what + " is a number from " + platform::numberText(min) + " to " +
                      platform::numberText(max));
  }
  return number;
}

std::unique_ptr<Microphone> makeTone(const std::string& where, std::string_view arguments) {
  constexpr double defaultAmplitude = 0.5;
  const std::size_t colon = arguments.find(':');
  const double frequency = parseNumber(where, arguments.substr(0, colon), "frequency in hertz", 0, 384000);
  const double amplitude = colon == std::string_view::npos
                               ? defaultAmplitude
                               : parseNumber(where, arguments.substr(colon + 1), "amplitude", 0, 1);
  return std::make_unique<Tone>(where, frequency, amplitude);
}

std::unique_ptr<Microphone> makeNoise(const std::string& where, std::string_view arguments) {
  std::uint64_t seed = 0;
  const auto [end, error] = std::from_chars(arguments.data(), arguments.data() + arguments.size(), seed);
  if (error != std::errc() || end != arguments.data() + arguments.size()) {
    refuse(where, "the seed is a whole number from 0 to 18446744073709551615");
  }
  return std::make_unique<Noise>(seed);
}

}  // namespace

std::unique_ptr<Microphone> makeMicrophone(const Given<std::string>& text) {
  const std::string_view view = text.value;
  if (view == "silence") return std::make_unique<Silence>();
  if (view == "loop") return std::make_unique<Loop>();
  if (view == "noise") return std::make_unique<Noise>(0);
  if (view.starts_with(toneWord)) return makeTone(text.where, view.substr(toneWord.size()));
  if (view.starts_with(seededNoiseWord)) return makeNoise(text.where, view.substr(seededNoiseWord.size()));
  return std::make_unique<MicrophoneFile>(text);
}

bool isMicrophoneFile(std::string_view text) {
  return text != "silence" && text != "loop" && text != "noise" && !text.starts_with(toneWord) &&
         !text.starts_with(seededNoiseWord);
}

}  // namespace orvane::simulated
