// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "iounit/dsp/Processor.h"

namespace orvane {

/// The phase of a tone: its position in the period, counted in samples in single precision. Every sample adds 1; a sum
/// greater than the period is reduced by the period once.
///
/// While the phase is a multiple of the spacing of floats at the period, all of this is exact: a matter of whole
/// numbers, in which any later phase is as near as the next. Where the period is less than 1 short of a power of two
/// that holds within a period, and the step to the next one rounds. For a period below 1, and for up to a period after
/// a change of it, the samples are counted one by one. The phases are the same either way.
///
/// Real-time safe.
class TonePhase {
 public:
  /// Takes any phase and any period.
  TonePhase(float phase, float period);

  /// The phase of the next sample.
  float phase() const { return mPhase; }

  /// Takes as many samples as there is room for and writes the angle of each: phase / period times one turn, in single
  /// precision. Returns whether all of them are from 0 to one turn. The width changes the speed alone; a test gives the
  /// narrower one, and none may be given that the processor does not have.
  bool nextAngles(std::span<float> angles, RegisterWidth width = widestRegisters());

  /// The period and one sample in spacings of floats at the period.
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
