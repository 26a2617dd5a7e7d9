#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::simulated {

/// How a simulated device is set up.
struct SimulatedOptions {
  std::optional<std::uint32_t>
      rate;  ///< Hertz, 0 (hardware that reports none) to 768000; default 48000, or the file's.
  std::optional<std::uint32_t> inputs;  ///< 0 to 64; default 1, or the file's.
  std::uint32_t outputs = 2;            ///< 0 to 64.
  std::uint32_t slice = 256;            ///< Frames, 1 to 8192.
  bool fastPace = false;
  std::string microphone = "silence";  ///< As `parseMicrophone` reads it.
  std::string speaker = "null";        ///< "null", or the path of a file to write.
};

/// Reads `KEY=VALUE[,KEY=VALUE…]`; an empty text gives the defaults. The values of `mic` and `speaker` may hold any
/// character but a comma. Throws `platform::PlatformException` that names the key and says what would be right.
SimulatedOptions parseSimulatedOptions(std::string_view text);

}  // namespace orvane::simulated
