// SPDX-License-Identifier: MIT
#pragma once

#include <semaphore.h>

#include <optional>

#include "platform/Clock.h"

namespace orvane::host {

/// Waits for the semaphore until `systemTime` on CLOCK_MONOTONIC, or without limit. Returns true if it was decremented,
/// false at the time limit. Thread-safe; not real-time safe.
bool waitForSemaphore(sem_t& semaphore, std::optional<platform::HostTime> systemTime);

}  // namespace orvane::host
