// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "iounit/dsp/Processor.h"

namespace orvane {

/// One turn (2 pi) in radians, rounded to single precision, which is slightly more than the exact value.
inline constexpr float oneTurn = 6.2831855F;

/// Returns the correctly rounded sine of an angle in radians: the float nearest to the exact sine, for every finite
/// angle. Infinity and not-a-number give not-a-number.
///
/// The result has the same bits with every processor, compiler and C library, because it uses only additions and
/// multiplications of doubles in a fixed order. `scripts/derive-sine` derives the constants; `scripts/check-sine`
/// compares the result with the exact sine of every float. Real-time safe.
float sineOf(float angle);

/// Replaces each angle in radians by `factor` times its `sineOf`. The angles must be from 0 to one turn. The results
/// are bit-identical to those of `sineOf`, but computed several times as fast. `width` affects only the speed; the
/// processor must support it. Real-time safe.
void replaceBySines(std::span<float> angles, float factor, RegisterWidth width = widestRegisters());

}  // namespace orvane
