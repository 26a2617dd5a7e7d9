// SPDX-License-Identifier: MIT
#include "platform/host/convert/RateConverter.h"

#include <samplerate.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>

#include "platform/host/convert/Interleaving.h"

namespace orvane::host {

namespace {

/// Frames per call of libsamplerate; limits the size of the interleaved copies.
constexpr std::uint32_t blockFrames = 1024;

}  // namespace

struct RateConverter::Library {
  explicit Library(std::uint32_t channels) {
    int error = 0;
    state = src_new(SRC_SINC_MEDIUM_QUALITY, static_cast<int>(channels), &error);
    // Rates and channel counts were checked before, so the only possible failure is that memory is exhausted.
    if (state == nullptr) throw std::bad_alloc();
  }
  ~Library() { src_delete(state); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  SRC_STATE* state;
};

bool RateConverter::canConvert(double inputRate, double outputRate) {
  constexpr double maxRatio = 256;
  return inputRate > 0 && outputRate > 0 && outputRate <= maxRatio * inputRate && inputRate <= maxRatio * outputRate;
}

RateConverter::RateConverter(std::uint32_t channels, double inputRate, double outputRate)
    : mChannels(channels),
      mRatio(outputRate / inputRate),
      mLibrary(std::make_unique<Library>(channels)),
      mInput(static_cast<std::size_t>(blockFrames) * channels),
      mOutput(static_cast<std::size_t>(blockFrames) * channels),
      mDelayFrames(measureDelay()) {
  if (!failed()) mError = src_reset(mLibrary->state);
  if (failed()) throw std::runtime_error(std::string("the rate conversion failed: ") + src_strerror(mError));
}

RateConverter::~RateConverter() = default;

RateConverter::Progress RateConverter::process(const Part<const float>& input, const Part<float>& output, bool end) {
  Progress total;
  while (!failed()) {
    const Part<const float> source{input.planes, input.firstFrame + total.taken, input.frames - total.taken};
    const Part<float> target{output.planes, output.firstFrame + total.made, output.frames - total.made};
    const Progress step = processBlock(source, target, end);
    total.taken += step.taken;
    total.made += step.made;
    if (step.taken == 0 && step.made == 0) break;
  }
  return total;
}

RateConverter::Progress RateConverter::processBlock(const Part<const float>& input, const Part<float>& output,
                                                    bool end) {
  const std::uint32_t offered = std::min(input.frames, blockFrames);
  if (offered > 0) interleave(input.planes, input.firstFrame, offered, mInput.data());
  SRC_DATA data{};
  data.data_in = mInput.data();
  data.input_frames = offered;
  data.data_out = mOutput.data();
  data.output_frames = std::min(output.frames, blockFrames);
  data.src_ratio = mRatio;
  data.end_of_input = end && offered == input.frames ? 1 : 0;
  if (const int error = src_process(mLibrary->state, &data)) {
    mError = error;
    return {};
  }
  const auto made = static_cast<std::uint32_t>(data.output_frames_gen);
  if (made > 0) deinterleave(mOutput.data(), output.planes, output.firstFrame, made);
  return {static_cast<std::uint32_t>(data.input_frames_used), made};
}

/// Measures the delay: passes silence to a new converter, one frame at a time, until it writes the first output frame.
std::uint32_t RateConverter::measureDelay() {
  const std::vector<float> silence(1);
  std::vector<float> output(1);
  const std::vector<const float*> inputs(mChannels, silence.data());
  const std::vector<float*> outputs(mChannels, output.data());
  std::uint32_t fed = 0;
  while (process({inputs, 0, 1}, {outputs, 0, 1}).made == 0 && !failed()) ++fed;
  return fed;
}

}  // namespace orvane::host
