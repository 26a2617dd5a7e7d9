// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace orvane::host {

/// A sample rate converter for planar samples, based on libsamplerate.
///
/// Output frame k is the value of the source at time k / output rate. It becomes available after a constant delay of
/// half the filter's length. Not thread-safe, except for `failed`. The constructor allocates; all other operations are
/// real-time safe.
class RateConverter {
 public:
  /// Returns whether a conversion between two rates, in hertz, is possible: both are above 0, and neither is more than
  /// 256 times the other.
  static bool canConvert(double inputRate, double outputRate);

  /// Creates a converter. `canConvert` must return true for the rates. Throws `std::runtime_error` if libsamplerate
  /// reports an error, and `std::bad_alloc` if memory is exhausted.
  RateConverter(std::uint32_t channels, double inputRate, double outputRate);
  ~RateConverter();

  /// A range of frames in planes (one array of samples per channel).
  template <typename Sample>
  struct Part {
    std::span<Sample* const> planes;
    std::uint32_t firstFrame = 0;
    std::uint32_t frames = 0;
  };
  /// The numbers of frames taken from the input and written to the output.
  struct Progress {
    std::uint32_t taken = 0;
    std::uint32_t made = 0;
  };
  /// Converts frames until `input` is used up or `output` is full. If `end` is true, no input follows, and the frames
  /// that are still in the filter are written too. Does nothing after a failure.
  Progress process(const Part<const float>& input, const Part<float>& output, bool end = false);

  /// Returns the number of input frames taken before the first output frame is written.
  std::uint32_t delayFrames() const { return mDelayFrames; }

  /// Returns whether libsamplerate has reported an error. Thread-safe.
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
