// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "iounit/dsp/PowerMeter.h"
#include "iounit/dsp/Processor.h"

namespace orvane {

/// Meters one block of several channels: `meters[i]` processes the `frameCount` contiguous samples at `planes[i]`.
/// There must be as many planes as meters. The results are identical, bit for bit, to those of
/// `meters[i].Process(planes[i], 1, frameCount)`.
///
/// Within one channel, each step depends on the running mean square of the previous step. Different channels are
/// independent, so up to eight channels are processed together in the time of one. Channels are processed one by one in
/// three cases: the samples of a channel in the group are not aligned to 16 bytes, the type of the vector unit
/// (`gPXVectorUnitType`) is not determined yet, or the environment variable `PX_NoVector` is set.
///
/// `width` affects only the speed; the processor must support it. Real-time safe.
void processTogether(std::span<PowerMeter> meters, std::span<const float* const> planes, int frameCount,
                     RegisterWidth width = widestRegisters());

}  // namespace orvane
