// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

#include "platform/backend/MidiTransport.h"

namespace orvane::backend {

/// A bounded queue of MIDI events between two threads, one that pushes and one that pops. Header-only, because back
/// ends in modules use it too. Real-time safe, except for the constructor.
class MidiQueue {  // NOLINT(clang-analyzer-optin.performance.Padding): the threads write to different cache lines
 public:
  /// Creates a queue with room for at least `bytes` bytes of events, each with 16 bytes more, rounded up to 16.
  explicit MidiQueue(std::size_t bytes)
      : mSize(std::bit_ceil(bytes < 4 * MidiEvent::maxBytes ? 4 * MidiEvent::maxBytes : bytes)),
        mMemory(std::make_unique<std::uint8_t[]>(mSize)) {}

  /// Appends a copy of the event, which has at most `MidiEvent::maxBytes` bytes. Returns false if the queue is full.
  bool push(const MidiEvent& event) {
    const std::uint64_t begin = mWritten.load(std::memory_order_relaxed);
    const std::size_t needed = recordSize(event.bytes.size());
    const std::size_t offset = begin & (mSize - 1);
    const std::size_t skipped = skippedBefore(needed, offset);
    if (!hasRoom(begin + skipped + needed)) return false;
    if (skipped > 0) write(offset, {.length = skipMark});
    const std::size_t place = skipped > 0 ? 0 : offset;
    write(place, {event.time.count(), static_cast<std::uint32_t>(event.endpoint),
                  static_cast<std::uint32_t>(event.bytes.size() << 8) | static_cast<std::uint32_t>(event.protocol)});
    if (!event.bytes.empty()) std::memcpy(&mMemory[place + sizeof(Header)], event.bytes.data(), event.bytes.size());
    mWritten.store(begin + skipped + needed, std::memory_order_release);
    return true;
  }

  /// Returns whether `push` would append the event now. Called on the thread that pushes.
  bool hasRoomFor(const MidiEvent& event) {
    const std::uint64_t begin = mWritten.load(std::memory_order_relaxed);
    const std::size_t needed = recordSize(event.bytes.size());
    return hasRoom(begin + skippedBefore(needed, begin & (mSize - 1)) + needed);
  }

  /// Returns the oldest event, whose bytes are valid until `pop`, or `std::nullopt` if the queue is empty.
  std::optional<MidiEvent> front() {
    const std::uint64_t begin = mRead.load(std::memory_order_relaxed);
    if (begin == mWritten.load(std::memory_order_acquire)) return std::nullopt;
    Header header = read(begin & (mSize - 1));
    if (header.length == skipMark) {
      mRead.store(begin + mSize - (begin & (mSize - 1)), std::memory_order_release);
      return front();
    }
    const std::uint8_t* const bytes = &mMemory[(begin & (mSize - 1)) + sizeof(Header)];
    return MidiEvent{platform::HostTime(header.time),
                     static_cast<platform::MidiObjectRef>(header.endpoint),
                     {bytes, header.length >> 8},
                     static_cast<MidiProtocol>(header.length & 0xFF)};
  }

  /// Removes the event that `front` returned.
  void pop() {
    const std::uint64_t begin = mRead.load(std::memory_order_relaxed);
    const std::size_t length = read(begin & (mSize - 1)).length >> 8;
    mRead.store(begin + recordSize(length), std::memory_order_release);
  }

  /// Returns whether the queue is empty. May be called on any thread.
  bool isEmpty() const { return mRead.load() == mWritten.load(); }

 private:
  struct Header {
    std::int64_t time = 0;
    std::uint32_t endpoint = 0;
    std::uint32_t length = 0;  ///< Number of bytes times 256, plus the protocol; or `skipMark`.
  };
  static_assert(sizeof(Header) == 16);
  static constexpr std::uint32_t skipMark = 0xFFFFFFFF;

  static std::size_t recordSize(std::size_t bytes) { return (sizeof(Header) + bytes + 15) / 16 * 16; }
  /// A record is contiguous: one that does not fit before the end of the memory begins at its start.
  std::size_t skippedBefore(std::size_t needed, std::size_t offset) const {
    return mSize - offset < needed ? mSize - offset : 0;
  }
  bool hasRoom(std::uint64_t end) {
    if (end - mKnownRead > mSize) mKnownRead = mRead.load(std::memory_order_acquire);
    return end - mKnownRead <= mSize;
  }
  void write(std::size_t offset, const Header& header) { std::memcpy(&mMemory[offset], &header, sizeof header); }
  Header read(std::size_t offset) const {
    Header header;
    std::memcpy(&header, &mMemory[offset], sizeof header);
    return header;
  }

  const std::size_t mSize;  ///< A power of two, and a multiple of the size of a header.
  const std::unique_ptr<std::uint8_t[]> mMemory;
  alignas(64) std::atomic<std::uint64_t> mWritten = 0;
  std::uint64_t mKnownRead = 0;  ///< The last value of `mRead` that the pushing thread has seen.
  alignas(64) std::atomic<std::uint64_t> mRead = 0;
};

}  // namespace orvane::backend
