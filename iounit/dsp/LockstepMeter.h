// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "iounit/dsp/PowerMeter.h"
#include "iounit/dsp/Processor.h"

namespace orvane {

/// Meters one block of several channels: `meters[i]` processes the `frameCount` contiguous samples at `planes[i]`.
/// There must be as many planes as meters. The result is the same, to the bit, as calling `meters[i].Process(planes[i],
/// 1, frameCount)` for each meter.
///
/// In a single channel each step depends on the running mean square of the step before. The mean squares of several
/// channels are independent, so up to eight channels are processed together in the time of one. Channels are processed
/// one by one if the samples of one in their group are not aligned to 16 bytes, and until the vector unit has been
/// examined (with the environment variable `PX_NoVector`: always).
///
/// Real-time safe. `width` changes the speed only; the processor must support it.
void processTogether(std::span<PowerMeter> meters, std::span<const float* const> planes, int frameCount,
                     RegisterWidth width = widestRegisters());

}  // namespace orvane
