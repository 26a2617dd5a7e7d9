// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/MIDI/MIDIPacketEmitter.h"

#include <cstring>
#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace orvane {

namespace {

constexpr char sourcePath[] = "Pexutil/Source/Utility/MIDI/MIDIPacketEmitter";

/// Logs a failed assertion. A destructor calls this function, so nothing may be thrown.
void logAssertion(platform::Log* log, int line) noexcept {
  if (log == nullptr) return;
  try {
    log->write(platform::LogLevel::error,
               std::string(LogFilenameOnly(sourcePath)) + ":" + std::to_string(line) +
                   ":~MIDIPacketEmitter: ASSERTION FAILURE [(TheList()->numPackets == 0) != 0 is false]: ");
  } catch (const std::exception&) {  // There is no other place to report to.
  }
}

}  // namespace

MIDIPacketEmitter::MIDIPacketEmitter(Callback callback, const platform::Platform& services)
    : mCallback(std::move(callback)), mLog(services.log) {
  Clear();
}

MIDIPacketEmitter::~MIDIPacketEmitter() {
  if (TheList()->numPackets != 0) logAssertion(mLog.get(), __LINE__);
}

void MIDIPacketEmitter::Emit(const platform::PacketList* list) {
  mCallback(*list);
}

void MIDIPacketEmitter::Add(std::uint64_t time, std::int32_t length, const std::uint8_t* data) {
  const std::span bytes(data, static_cast<std::size_t>(length));
  if (TryToAdd(time, bytes)) return;
  if (TheList()->numPackets > 0) {
    Emit(TheList());
    Clear();
    if (TryToAdd(time, bytes)) return;
  }
  EmitAlone(time, bytes);
}

void MIDIPacketEmitter::End() {
  if (TheList()->numPackets != 0) Emit(TheList());
  Clear();
}

platform::PacketList* MIDIPacketEmitter::TheList() {
  return reinterpret_cast<platform::PacketList*>(mListBuffer.data());
}

void MIDIPacketEmitter::Clear() {
  mCurrentPacket = platform::initPacketList(*TheList());
}

bool MIDIPacketEmitter::TryToAdd(std::uint64_t time, std::span<const std::uint8_t> data) {
  std::uint8_t* const packet = platform::addToPacketList(*TheList(), capacity, mCurrentPacket, time, data);
  if (packet != nullptr) mCurrentPacket = packet;
  return packet != nullptr;
}

void MIDIPacketEmitter::EmitAlone(std::uint64_t time, std::span<const std::uint8_t> data) {
  {
    // Memory from the default allocator has the alignment that a list needs.
    std::vector<std::uint8_t> block(platform::packet_list::listHeader + platform::packet_list::packetHeader +
                                    data.size());
    auto& list = *reinterpret_cast<platform::PacketList*>(block.data());
    platform::addToPacketList(list, block.size(), platform::initPacketList(list), time, data);
    Emit(&list);
  }
  Clear();
}

const char* LogFilenameOnly(const char* path) {
  if (path == nullptr) return nullptr;
  const char* const slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

}  // namespace orvane
