// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "iounit/dsp/PowerMeter.h"
#include "iounit/dsp/Processor.h"

namespace orvane {

/// Meters one block of several channels: meter i takes the `frameCount` contiguous samples at `planes[i]`. There are as
/// many planes as meters. Afterwards every field of every meter is, to the bit, what `meters[i].Process(planes[i], 1,
/// frameCount)` leaves, one meter after the other.
///
/// A single channel waits for its own running mean square at every step. Those of several channels do not depend on
/// each other, so that up to eight go through the loop together in the time of one. Channels go one after the other
/// where the samples of one of their group of eight do not lie at a multiple of 16 bytes, and everywhere until the
/// vector unit has been examined (with the environment variable `PX_NoVector`: always).
///
/// Real-time safe: allocates nothing, takes no lock, throws nothing. The width changes the speed alone; a test gives
/// the narrower one, and none may be given that the processor does not have.
void processTogether(std::span<PowerMeter> meters, std::span<const float* const> planes, int frameCount,
                     RegisterWidth width = widestRegisters());

}  // namespace orvane
