// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orvane::platform {

/// The samples of one buffer of a `RenderBufferList`.
struct RenderBuffer {
  std::uint32_t channels;  ///< Channels interleaved in `data`; 1 in every list of this system.
  std::uint32_t byteSize;  ///< Bytes at `data`: frames x channels x 4 for 32-bit float samples.
  void* data;              ///< The samples, or null where the callee is to supply its own memory.
};

/// The header of a list of buffers; the entries follow it in memory without a gap.
///
/// The list is a view on storage that somebody else owns (`PX::BufferList` is the owning form), so it is handed around
/// by reference and never copied.
struct RenderBufferList {
  std::uint32_t bufferCount;
  std::uint32_t reserved;  ///< Keeps the entries on an eight-byte boundary.

  /// A header for `count` entries; whoever makes it sees to the memory behind it.
  explicit RenderBufferList(std::uint32_t count) : bufferCount(count), reserved(0) {}
  RenderBufferList(const RenderBufferList&) = delete;
  RenderBufferList& operator=(const RenderBufferList&) = delete;

  /// The entries. Real-time safe.
  std::span<RenderBuffer> buffers() { return {reinterpret_cast<RenderBuffer*>(this + 1), bufferCount}; }
};

static_assert(sizeof(RenderBufferList) == 8, "the header is the count and its alignment");
static_assert(sizeof(RenderBuffer) == 16, "an entry is two 32-bit words and a 64-bit address");

}  // namespace orvane::platform
