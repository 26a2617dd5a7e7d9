// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace orvane::host {

/// Channels and rate of one side of an edge.
struct EdgeFormat {
  std::uint32_t channels = 0;
  double sampleRate = 0;  ///< Hertz.
};

}  // namespace orvane::host
