// SPDX-License-Identifier: MIT
#include "platform/host/time/SemaphoreWait.h"

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace orvane::host {

bool waitForSemaphore(sem_t& semaphore, std::optional<platform::HostTime> systemTime) {
  timespec end{};
  if (systemTime) {
    const auto time = std::max(*systemTime, platform::HostTime::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    end.tv_sec = seconds.count();
    end.tv_nsec = (time - seconds).count();
  }
  int result = 0;
  do {
    result = systemTime ? sem_clockwait(&semaphore, CLOCK_MONOTONIC, &end) : sem_wait(&semaphore);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

}  // namespace orvane::host
