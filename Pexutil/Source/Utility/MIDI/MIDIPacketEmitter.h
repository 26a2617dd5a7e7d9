// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "platform/Log.h"
#include "platform/PacketList.h"
#include "platform/Platform.h"

namespace orvane {

/// Collects MIDI events in a packet list of at most 1024 bytes, and passes each full list, and at the end the last one,
/// to a callback. Allocates memory only for events of more than 1010 bytes. Not thread-safe: the callback is called on
/// the thread that calls `Add` or `End`. An exception of the callback propagates; the list then keeps its packets.
class MIDIPacketEmitter {
 public:
  using Callback = std::function<void(const platform::PacketList& list)>;

  /// Creates an emitter with an empty list, which logs on the host `services`. With an empty callback `Emit` throws
  /// `std::bad_function_call`.
  explicit MIDIPacketEmitter(Callback callback, const platform::Platform& services = platform::current());
  MIDIPacketEmitter(const MIDIPacketEmitter&) = delete;
  MIDIPacketEmitter& operator=(const MIDIPacketEmitter&) = delete;
  /// Drops the packets that are still in the list. There should be none: if there are, logs an error.
  virtual ~MIDIPacketEmitter();
  /// Passes a list to the callback.
  virtual void Emit(const platform::PacketList* list);

  /// Adds an event of `length` bytes, 0 to 65535. If the event does not fit, first emits the list. An event of more
  /// than 1010 bytes is emitted at once, as a list of its own.
  void Add(std::uint64_t time, std::int32_t length, const std::uint8_t* data);
  /// Emits the list if it has packets, and empties it.
  void End();

 private:
  static constexpr std::size_t capacity = 1024;

  platform::PacketList* TheList();
  void Clear();
  bool TryToAdd(std::uint64_t time, std::span<const std::uint8_t> data);
  void EmitAlone(std::uint64_t time, std::span<const std::uint8_t> data);

  const Callback mCallback;
  const std::shared_ptr<platform::Log> mLog;
  std::uint8_t* mCurrentPacket = nullptr;
  alignas(std::uint32_t) std::array<std::uint8_t, capacity> mListBuffer{};
};

/// Returns the part of a path after its last slash, or the whole path if it has none; null for null. Real-time safe.
const char* LogFilenameOnly(const char* path);

}  // namespace orvane
