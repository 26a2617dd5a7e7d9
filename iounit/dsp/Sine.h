// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "iounit/dsp/Processor.h"

namespace orvane {

/// One turn in radians, in single precision; a little more than the exact one.
inline constexpr float oneTurn = 6.2831855F;

/// Returns the sine of an angle in radians, correctly rounded: the float nearest to the exact sine, for every float.
/// Infinite angles and not-a-number give not-a-number.
///
/// The result has the same bits with every processor, compiler and C library, because it uses only additions and
/// multiplications of doubles in a fixed order. `scripts/derive-sine` derives the constants; `scripts/check-sine`
/// compares the result with the exact sine of every float. Real-time safe.
float sineOf(float angle);

/// Replaces each angle, which must be from 0 to one turn, by `factor` times its `sineOf`, with the same bits but
/// several times as fast. `width` changes the speed only; the processor must support it. Real-time safe.
void replaceBySines(std::span<float> angles, float factor, RegisterWidth width = widestRegisters());

}  // namespace orvane
