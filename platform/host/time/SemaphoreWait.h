// SPDX-License-Identifier: MIT
#pragma once

#include <semaphore.h>

#include <optional>

#include "platform/Clock.h"

namespace orvane::host {

/// Waits for the semaphore until `systemTime` on CLOCK_MONOTONIC, or for ever. True if a count was taken.
bool waitForSemaphore(sem_t& semaphore, std::optional<platform::HostTime> systemTime);

}  // namespace orvane::host
