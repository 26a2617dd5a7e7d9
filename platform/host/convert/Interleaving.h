#pragma once

#include <cstdint>
#include <span>

namespace orvane::host {

// All of it is real-time safe.

/// Brings the channels of planes together, frame by frame from `first` on, as they are.
void interleave(std::span<const float* const> planes, std::uint32_t first, std::uint32_t frames, float* samples);

/// Takes frames apart, as they are, into the planes from frame `first` on.
void deinterleave(const float* samples, std::span<float* const> planes, std::uint32_t first, std::uint32_t frames);

/// Brings the channels together as 16-bit samples: full scale 1.0 becomes 32768, rounded to the nearest step (to the
/// even one of two that are equally near) and held within -32768 to 32767; not-a-number becomes silence. A sample that
/// came from a 16-bit one, divided by 32768, comes out as that one.
void interleaveAs16Bit(std::span<const float* const> planes, std::uint32_t frames, std::int16_t* samples);

}  // namespace orvane::host
