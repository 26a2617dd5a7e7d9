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

/// Owning storage for one `RenderBufferList`: a header with the buffer count, then 16 bytes for each buffer.
///
/// Construction allocates; everything else may be called on the device callback as long as the list is used as
/// documented. One thread at a time.
class BufferList {
 public:
  /// Bytes before the first entry: the count and its alignment.
  static constexpr std::size_t kHeaderSize = sizeof(orvane::platform::RenderBufferList);

  /// Makes a list of `bufferCount` entries, all zero: no channels, no bytes, no data.
  explicit BufferList(std::uint32_t bufferCount)
      : mStorage(kHeaderSize + bufferCount * sizeof(orvane::platform::RenderBuffer)) {
    new (mStorage.data()) orvane::platform::RenderBufferList(bufferCount);
  }

  BufferList(const BufferList&) = delete;
  BufferList& operator=(const BufferList&) = delete;

  /// The list, to be handed to a render operation. Its entries may be changed, its count may not.
  orvane::platform::RenderBufferList& GetAudioBufferList() {
    return *std::launder(reinterpret_cast<orvane::platform::RenderBufferList*>(mStorage.data()));
  }

  /// The count of buffers. A header that no longer agrees with the storage ends the process, in every kind of build:
  /// whoever changed it may have written beyond the entries.
  std::uint32_t GetNumberBuffers() {
    const std::uint32_t count = GetAudioBufferList().bufferCount;
    if (count != (mStorage.size() - kHeaderSize) / sizeof(orvane::platform::RenderBuffer)) failNumberBuffers();
    return count;
  }

  /// One entry; throws `std::out_of_range` where `index` is not below `GetNumberBuffers()`.
  orvane::platform::RenderBuffer& operator[](std::size_t index) {
    if (index >= GetNumberBuffers()) {
      throw std::out_of_range("accessing a PX::BufferList with an out-of-range index");
    }
    return GetAudioBufferList().buffers()[index];
  }

 private:
  /// Straight to the descriptor, because it may happen on the device callback.
  [[noreturn]] static void failNumberBuffers() {
    constexpr std::string_view message =
        "GetNumberBuffers: the buffer count of a PX::BufferList does not agree with its storage\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, message.data(), message.size());
    std::abort();
  }

  /// Allocated by operator new, so aligned for the header and the entries.
  std::vector<std::byte> mStorage;
  static_assert(alignof(orvane::platform::RenderBuffer) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
};

}  // namespace PX
