// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace orvane::host {

/// The channel count and sample rate on one side of an edge. An edge (`InputEdge`, `OutputEdge`) converts between the
/// formats of the hardware and of a client.
struct EdgeFormat {
  std::uint32_t channels = 0;
  double sampleRate = 0;  ///< Hertz.
};

}  // namespace orvane::host
