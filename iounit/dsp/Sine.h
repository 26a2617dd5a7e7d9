// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "iounit/dsp/Processor.h"

namespace orvane {

/// One turn in radians, in single precision; a little more than the exact one.
inline constexpr float oneTurn = 6.2831855F;

/// The sine of an angle in radians, correctly rounded: of all floats the one nearest to the exact sine of the float
/// given, for every float there is. An infinite angle and not-a-number give not-a-number.
///
/// The same bits with every processor, compiler and C library: nothing but additions and multiplications of doubles in
/// a fixed order. `scripts/derive-sine` derives the numbers; `scripts/check-sine` holds the result against the exact
/// sine of every float. Real-time safe.
float sineOf(float angle);

/// Replaces each angle, which must be from 0 to one turn, by `factor` times what `sineOf` gives for it: the same bits,
/// several times as fast. The width changes the speed alone; a test gives the narrower one, and none may be given that
/// the processor does not have. Real-time safe.
void replaceBySines(std::span<float> angles, float factor, RegisterWidth width = widestRegisters());

}  // namespace orvane
