// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

/// The vector unit type of this process: -1 until it has been examined, then 200. From 1 on, meters process four
/// samples a step.
///
/// Several threads may examine it at the same time. Each stores the same value, and no other data depends on it, so
/// relaxed access is sufficient and as fast as a plain load.
extern std::atomic<std::int32_t> gPXVectorUnitType;

/// Examines the environment and returns the vector unit type, 0 or 200.
///
/// If the environment variable `PX_NoVector` is set, even to an empty value, writes one line to standard error, leaves
/// `gPXVectorUnitType` at -1, so that the next call examines it again, and returns 0. Otherwise stores and returns 200.
///
/// Thread-safe. Real-time safe, except for the system call that writes the line.
std::int32_t PXVectorUnit_Examine();
