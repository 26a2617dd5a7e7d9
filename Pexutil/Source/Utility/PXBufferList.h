// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "platform/RenderBufferList.h"

namespace PX {

/// The owner of a `RenderBufferList` and its storage: a header with the buffer count, followed by 16 bytes for each
/// buffer.
///
/// Not thread-safe. The constructor allocates; all other operations are real-time safe unless they throw or end the
/// process.
class BufferList {
 public:
  /// The size of the header, in bytes: the count and its padding.
  static constexpr std::size_t kHeaderSize = sizeof(orvane::platform::RenderBufferList);

  /// Creates a list of `bufferCount` entries whose fields are all 0 or null.
  explicit BufferList(std::uint32_t bufferCount)
      : mStorage(kHeaderSize + bufferCount * sizeof(orvane::platform::RenderBuffer)) {
    new (mStorage.data()) orvane::platform::RenderBufferList(bufferCount);
  }

  BufferList(const BufferList&) = delete;
  BufferList& operator=(const BufferList&) = delete;

  /// Returns the list, for use in a render operation. The caller may change its entries but must not change its count.
  orvane::platform::RenderBufferList& GetAudioBufferList() {
    return *std::launder(reinterpret_cast<orvane::platform::RenderBufferList*>(mStorage.data()));
  }

  /// Returns the number of buffers. If the count in the header no longer matches the storage, memory may have been
  /// overwritten; the function then ends the process, in debug and release builds.
  std::uint32_t GetNumberBuffers() {
    const std::uint32_t count = GetAudioBufferList().bufferCount;
    if (count != (mStorage.size() - kHeaderSize) / sizeof(orvane::platform::RenderBuffer)) failNumberBuffers();
    return count;
  }

  /// Returns the entry at `index`. Throws `std::out_of_range` if `index` is not below `GetNumberBuffers()`.
  orvane::platform::RenderBuffer& operator[](std::size_t index) {
    if (index >= GetNumberBuffers()) {
      throw std::out_of_range("accessing a PX::BufferList with an out-of-range index");
    }
    return GetAudioBufferList().buffers()[index];
  }

 private:
  /// Prints a message and aborts. Writes directly to the file descriptor, because this may run on the device callback.
  [[noreturn]] static void failNumberBuffers() {
    constexpr std::string_view message =
        "GetNumberBuffers: the buffer count of a PX::BufferList does not agree with its storage\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, message.data(), message.size());
    std::abort();
  }

  /// The storage. Operator new allocates it with sufficient alignment for the header and the entries.
  std::vector<std::byte> mStorage;
  static_assert(alignof(orvane::platform::RenderBuffer) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
};

}  // namespace PX
