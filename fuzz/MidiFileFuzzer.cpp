// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>

#include "fuzz/SettingsCheck.h"
#include "platform/host/midi/StandardMidiFile.h"

namespace orvane {

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto content = host::parseMidiFile({data, size});
  if (!content) {
    fuzz::require(content.failure().status == platform::status::invalidFile && !content.failure().reason.empty());
    return 0;
  }
  platform::HostTime last{};
  std::size_t bytes = 0;
  for (const auto& packet : (*content)->packets) {
    fuzz::require(packet.time >= last && packet.offset == bytes && packet.length >= 1 && packet.length <= 65535);
    last = packet.time;
    bytes += packet.length;
  }
  fuzz::require(bytes == (*content)->bytes.size() && bytes <= size);
  fuzz::require(last <= std::chrono::seconds(host::MidiFileContent::maxSeconds));
  return 0;
}

}  // namespace orvane
