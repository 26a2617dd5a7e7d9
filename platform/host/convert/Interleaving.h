// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace orvane::host {

// Conversion between planar and interleaved samples. All functions are real-time safe.

/// Copies `frames` frames of the planes (one array per channel), starting at frame `first`, into interleaved `samples`,
/// bit for bit.
void interleave(std::span<const float* const> planes, std::uint32_t first, std::uint32_t frames, float* samples);

/// Copies `frames` frames of interleaved `samples` into the planes (one array per channel), starting at frame `first`,
/// bit for bit.
void deinterleave(const float* samples, std::span<float* const> planes, std::uint32_t first, std::uint32_t frames);

/// Converts the planes (one array per channel) to interleaved 16-bit samples. Each sample is multiplied by 32768,
/// rounded to the nearest integer (ties to even) and clamped to -32768..32767; not-a-number becomes 0. A float that was
/// computed as a 16-bit sample divided by 32768 is converted back to exactly that sample.
void interleaveAs16Bit(std::span<const float* const> planes, std::uint32_t frames, std::int16_t* samples);

}  // namespace orvane::host
