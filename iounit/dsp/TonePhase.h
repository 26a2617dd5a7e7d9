// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "iounit/dsp/Processor.h"

namespace orvane {

/// The phase of a tone: its position in the period, in samples, in single precision. Each sample adds 1; if the sum
/// exceeds the period, the period is subtracted once.
///
/// While the phase is a multiple of the spacing of floats at the period (the grid), this arithmetic is exact and is
/// done with integers, so that several phases are computed at once. If the period is less than 1 below a power of two,
/// it is exact within a period only, and the step to the next period rounds. For a period below 1, and for up to one
/// period after the period has changed, samples are counted one by one. The phases are the same in each case.
///
/// Not thread-safe; real-time safe.
class TonePhase {
 public:
  /// Accepts any phase and period, in samples.
  TonePhase(float phase, float period);

  /// Returns the phase of the next sample.
  float phase() const { return mPhase; }

  /// Advances by `angles.size()` samples and writes the angle of each: phase / period x one turn, in single precision.
  /// Returns whether all angles are from 0 to one turn. `width` changes the speed only; the processor must support it.
  bool nextAngles(std::span<float> angles, RegisterWidth width = widestRegisters());

  /// The period and one sample, in units of the spacing of floats at the period.
  struct Grid {
    std::int32_t period;  ///< From 2^23 up to 2^24.
    std::int32_t sample;  ///< A power of two, at most the period.
  };

 private:
  bool countOneByOne(std::span<float> angles);

  float mPhase;
  float mPeriod;
  std::optional<Grid> mGrid;
};

}  // namespace orvane
