// SPDX-License-Identifier: MIT
#include "session/EndProcess.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>

namespace orvane {

void endProcess(int status) {
  // A second call of `std::exit` while the first one runs would be undefined behaviour.
  static std::atomic_flag isEnding;
  while (isEnding.test_and_set()) pause();
  std::exit(status);
}

}  // namespace orvane
