// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace orvane::host {

// All of it is real-time safe.

/// Interleaves `frames` frames of the planes, from frame `first` on, bit for bit.
void interleave(std::span<const float* const> planes, std::uint32_t first, std::uint32_t frames, float* samples);

/// Deinterleaves `frames` frames into the planes, from frame `first` on, bit for bit.
void deinterleave(const float* samples, std::span<float* const> planes, std::uint32_t first, std::uint32_t frames);

/// Interleaves the planes as 16-bit samples: full scale 1.0 becomes 32768, rounded to the nearest step (to the
/// even one of two that are equally near) and held within -32768 to 32767; not-a-number becomes silence. A sample that
/// came from a 16-bit one, divided by 32768, comes out as that one.
void interleaveAs16Bit(std::span<const float* const> planes, std::uint32_t frames, std::int16_t* samples);

}  // namespace orvane::host
