// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace orvane::host {

/// Converts planes of samples from one rate to another, with libsamplerate.
///
/// The result is aligned with the source: output frame k is the source at time k / output rate. It is delayed by a
/// constant number of source frames, half the length of the filter. Not thread-safe, except `failed`. The constructor
/// allocates; all other operations are real-time safe.
class RateConverter {
 public:
  /// Whether two rates, in hertz, can be converted: both above 0, and neither more than 256 times the other.
  static bool canConvert(double inputRate, double outputRate);

  /// `canConvert` must hold for the rates. Throws `std::runtime_error` if the library fails, `std::bad_alloc` without
  /// memory.
  RateConverter(std::uint32_t channels, double inputRate, double outputRate);
  ~RateConverter();

  /// A range of frames in planes.
  template <typename Sample>
  struct Part {
    std::span<Sample* const> planes;
    std::uint32_t firstFrame = 0;
    std::uint32_t frames = 0;
  };
  /// Frames taken from the input and written to the output.
  struct Progress {
    std::uint32_t taken = 0;
    std::uint32_t made = 0;
  };
  /// Converts frames until `input` is used up or `output` is full. With `end`, `input` is the last one, and the frames
  /// that the filter still holds are written. Does nothing after a failure.
  Progress process(const Part<const float>& input, const Part<float>& output, bool end = false);

  /// Returns the number of input frames taken before the first output frame is written.
  std::uint32_t delayFrames() const { return mDelayFrames; }

  /// Whether the library has reported an error. Thread-safe.
  bool failed() const { return mError != 0; }

 private:
  struct Library;

  Progress processBlock(const Part<const float>& input, const Part<float>& output, bool end);
  std::uint32_t measureDelay();

  std::uint32_t mChannels;
  double mRatio;
  std::unique_ptr<Library> mLibrary;
  std::vector<float> mInput;    ///< Interleaved, as the library requires.
  std::vector<float> mOutput;   ///< Interleaved.
  std::atomic<int> mError = 0;  ///< The library's error code; 0 for none.
  std::uint32_t mDelayFrames = 0;
};

}  // namespace orvane::host
