// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

/// The vector unit of this process: -1 until it has been examined, then 200. Any value of 1 or more lets the meters
/// take four samples a step.
///
/// Several meters may examine at once on threads of their own. Each stores the same value and nothing else hangs on it,
/// so relaxed access is enough, and on the hot path it costs no more than a plain load.
extern std::atomic<std::int32_t> gPXVectorUnitType;

/// Examines the environment and returns the vector unit type, 0 or 200.
///
/// If the environment variable `PX_NoVector` is set (to any value, even an empty one), writes one line to standard
/// error, leaves `gPXVectorUnitType` at -1, so that the next call looks again, and returns 0. Otherwise stores and
/// returns 200.
///
/// May be called on the device callback: no allocation, lock or stream. The line alone goes through a system call, and
/// only in a process that asked for it.
std::int32_t PXVectorUnit_Examine();
