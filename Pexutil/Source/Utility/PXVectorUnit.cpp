// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/PXVectorUnit.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "platform/RealTime.h"

constinit std::atomic<std::int32_t> gPXVectorUnitType{-1};

std::int32_t PXVectorUnit_Examine() {
  constexpr std::int32_t fourLanes = 200;
  constexpr std::string_view notice = "PX_NoVector set; Vector unit optimized routines will be bypassed\n";

  if (std::getenv("PX_NoVector") != nullptr) {
    const orvane::platform::RealTimeExemption exemption;
    // Written directly to the file descriptor, because a stream could lock or allocate. If writing fails, this is
    // ignored.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, notice.data(), notice.size());
    return 0;
  }
  gPXVectorUnitType.store(fourLanes, std::memory_order_relaxed);
  return fourLanes;
}
