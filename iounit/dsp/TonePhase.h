// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "iounit/dsp/Processor.h"

namespace orvane {

/// The phase of a tone: the position within its period, measured in samples, in single precision. Each sample adds 1;
/// if the sum exceeds the period, the period is subtracted once.
///
/// The grid is the set of multiples of the spacing of floats near the period. While the phase is on the grid, the
/// arithmetic is exact and is done with integers, so that several phases are computed at once. If the period is less
/// than 1 below a power of two, the arithmetic is exact within a period only, and the step to the next period rounds.
/// For a period below 1, and for up to one period after the period has changed, samples are counted one by one. All
/// these methods of counting give the same phases.
///
/// Not thread-safe; real-time safe.
class TonePhase {
 public:
  /// Creates a phase. `phase` and `period` are in samples and may have any value.
  TonePhase(float phase, float period);

  /// Returns the phase of the next sample.
  float phase() const { return mPhase; }

  /// Advances the phase by `angles.size()` samples and writes the angle of each sample in radians: phase / period x one
  /// turn, in single precision. Returns whether all angles are from 0 to one turn. `width` affects only the speed; the
  /// processor must support it.
  bool nextAngles(std::span<float> angles, RegisterWidth width = widestRegisters());

  /// The length of the period and of one sample, in units of the spacing of floats near the period.
  struct Grid {
    std::int32_t period;  ///< From 2^23 up to 2^24.
    std::int32_t sample;  ///< A power of two that does not exceed `period`.
  };

 private:
  bool countOneByOne(std::span<float> angles);

  float mPhase;
  float mPeriod;
  std::optional<Grid> mGrid;
};

}  // namespace orvane
