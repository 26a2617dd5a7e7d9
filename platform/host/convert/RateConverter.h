// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace orvane::host {

/// Converts planes of samples from one rate to another on the device callback.
///
/// The result is aligned with the source: output frame k is the source at time k / output rate. It comes late by a
/// constant number of source frames, the half length of the filter. The constructor allocates; everything else is
/// real-time safe.
class RateConverter {
 public:
  /// Whether the two rates can be converted: both above 0, and neither more than 256 times the other.
  static bool canConvert(double inputRate, double outputRate);

  /// Throws `std::runtime_error` where the library cannot convert between the rates.
  RateConverter(std::uint32_t channels, double inputRate, double outputRate);
  ~RateConverter();

  /// Some planes from a frame on.
  template <typename Sample>
  struct Part {
    std::span<Sample* const> planes;
    std::uint32_t firstFrame = 0;
    std::uint32_t frames = 0;
  };
  struct Progress {
    std::uint32_t taken = 0;
    std::uint32_t made = 0;
  };
  /// Takes from `input` and fills `output`, as far as both go. With `end` the input is the last there is, and what the
  /// filter still holds comes out. Takes and makes nothing once it has failed.
  Progress process(const Part<const float>& input, const Part<float>& output, bool end = false);

  /// How many input frames go in before the first output frame comes out.
  std::uint32_t delayFrames() const { return mDelayFrames; }

  /// Whether the library has ever reported an error. Any thread.
  bool failed() const { return mError != 0; }

 private:
  struct Library;

  Progress processBlock(const Part<const float>& input, const Part<float>& output, bool end);
  std::uint32_t measureDelay();

  std::uint32_t mChannels;
  double mRatio;
  std::unique_ptr<Library> mLibrary;
  std::vector<float> mInput;    ///< Interleaved, as the library wants it.
  std::vector<float> mOutput;   ///< Interleaved.
  std::atomic<int> mError = 0;  ///< The library's; 0 for none.
  std::uint32_t mDelayFrames = 0;
};

}  // namespace orvane::host
