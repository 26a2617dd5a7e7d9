#pragma once

#include <cstdint>

namespace orvane::host {

/// What differs between the two sides of an edge.
struct EdgeFormat {
  std::uint32_t channels = 0;
  double sampleRate = 0;  ///< Hertz.
};

}  // namespace orvane::host
