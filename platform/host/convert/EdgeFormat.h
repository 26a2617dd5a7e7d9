// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace orvane::host {

/// Channel count and sample rate on one side of an edge.
struct EdgeFormat {
  std::uint32_t channels = 0;
  double sampleRate = 0;  ///< Hertz.
};

}  // namespace orvane::host
