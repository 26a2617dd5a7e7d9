// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orvane::platform {

/// The samples of one buffer of a `RenderBufferList`.
struct RenderBuffer {
  std::uint32_t channels;  ///< Number of channels interleaved in `data`; units accept only 1.
  std::uint32_t byteSize;  ///< Size of `data` in bytes: frames x channels x 4 for 32-bit float samples.
  void* data;              ///< The samples, or null to let the callee provide the memory.
};

/// The header of a list of buffers, one per channel. In memory, `bufferCount` entries of type `RenderBuffer` follow the
/// header directly. The caller owns the storage of header and entries; the list is passed by reference and never
/// copied.
struct RenderBufferList {
  std::uint32_t bufferCount;
  std::uint32_t reserved;  ///< Keeps the entries on an eight-byte boundary.

  /// Creates a header for `count` entries. The caller must provide the memory for the entries directly after the
  /// header.
  explicit RenderBufferList(std::uint32_t count) : bufferCount(count), reserved(0) {}
  RenderBufferList(const RenderBufferList&) = delete;
  RenderBufferList& operator=(const RenderBufferList&) = delete;

  /// Returns the entries. Real-time safe.
  std::span<RenderBuffer> buffers() { return {reinterpret_cast<RenderBuffer*>(this + 1), bufferCount}; }
};

static_assert(sizeof(RenderBufferList) == 8, "the header is the count and its alignment");
static_assert(sizeof(RenderBuffer) == 16, "an entry is two 32-bit words and a 64-bit address");

}  // namespace orvane::platform
