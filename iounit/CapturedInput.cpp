// SPDX-License-Identifier: MIT
#include "iounit/CapturedInput.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <exception>
#include <span>

#include "platform/RealTime.h"
#include "platform/Status.h"

namespace orvane {

namespace status = platform::status;

namespace {

/// Copies as much of `text` as fits into `room`, and returns the remaining part of `room`.
std::span<char> append(std::span<char> room, std::string_view text) {
  const std::size_t size = std::min(room.size(), text.size());
  std::copy_n(text.begin(), size, room.begin());
  return room.subspan(size);
}

/// Prints a message about a failed render and ends the process. Writes from the stack directly to the file descriptor,
/// because streams lock and allocate, and this may run on the device callback.
[[noreturn]] void endOnRenderFailure(platform::Status status, std::string_view place) {
  const platform::RealTimeExemption exemption;
  std::array<char, 12> digits{};
  const auto digitsEnd = std::to_chars(digits.begin(), digits.end(), status).ptr;

  std::array<char, 128> line{};
  std::span<char> room = append(line, "Error ");
  room = append(room, std::string_view(digits.begin(), digitsEnd));
  room = append(room, " while rendering in ");
  room = append(room, place);
  room = append(room, "\n");
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size() - room.size());
  std::terminate();
}

}  // namespace

void renderCapturedInput(const platform::RenderOperation& render, const CapturedSlice& slice, PX::BufferList& list,
                         std::string_view place) {
  const auto byteSize = static_cast<std::uint32_t>(slice.frames * sizeof(float));
  for (std::uint32_t i = 0; i < list.GetNumberBuffers(); ++i) {
    list[i] = {.channels = 1, .byteSize = byteSize, .data = nullptr};
  }
  const platform::Status status =
      render(slice.flags, slice.time, slice.frames, slice.bus, list.GetAudioBufferList(), nullptr);
  if (status != status::success) endOnRenderFailure(status, place);
}

}  // namespace orvane
