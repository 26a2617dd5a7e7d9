// SPDX-License-Identifier: MIT
#pragma once

#include <semaphore.h>

#include <optional>

#include "platform/Clock.h"

namespace orvane::host {

/// Waits until the semaphore can be decremented or CLOCK_MONOTONIC reaches `systemTime`; `std::nullopt` means no time
/// limit. Returns true if the semaphore was decremented, false if the time limit was reached. Thread-safe; not
/// real-time safe.
bool waitForSemaphore(sem_t& semaphore, std::optional<platform::HostTime> systemTime);

}  // namespace orvane::host
