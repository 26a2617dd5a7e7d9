// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

/// The type of this process's vector unit: -1 until `PXVectorUnit_Examine` has determined it, then 200. If the type is
/// at least 1, meters process four samples per step.
///
/// Several threads may determine the type at the same time. Each stores the same value, and no other data depends on
/// it, so relaxed access is sufficient and as fast as a plain load.
extern std::atomic<std::int32_t> gPXVectorUnitType;

/// Determines the type of the vector unit from the environment, and returns 0 or 200.
///
/// If the environment variable `PX_NoVector` is set, even to an empty value, writes one line to standard error and
/// returns 0; `gPXVectorUnitType` remains -1, so that the next call reads the environment again. Otherwise sets
/// `gPXVectorUnitType` to 200 and returns 200.
///
/// Thread-safe. Real-time safe, except for the system call that writes the line.
std::int32_t PXVectorUnit_Examine();
