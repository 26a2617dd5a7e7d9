#include "platform/simulated/SimulatedOptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <vector>

#include "platform/PlatformException.h"
#include "platform/host/AudioDevice.h"

namespace orvane::simulated {

namespace {

/// Longer texts are nobody's command line.
constexpr std::size_t mostCharacters = 65536;
constexpr std::uint32_t mostRate = 768000;

[[noreturn]] void refuse(const std::string& reason) {
  throw platform::PlatformException("SimulationException", "--simulate: " + reason);
}

std::uint32_t parseNumber(std::string_view key, std::string_view value, std::uint32_t least, std::uint32_t most) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end != value.data() + value.size() || number < least || number > most) {
    refuse(std::string(key) + "=" + std::string(value) + ": a whole number from " + std::to_string(least) + " to " +
           std::to_string(most) + " is needed");
  }
  return number;
}

bool parsePace(std::string_view value) {
  if (value != "real" && value != "fast") refuse("pace=" + std::string(value) + ": the pace is real or fast");
  return value == "fast";
}

std::string parseText(std::string_view key, std::string_view value, std::string_view wanted) {
  if (value.empty()) refuse(std::string(key) + "= has no value: " + std::string(wanted) + " is needed");
  return std::string(value);
}

struct Key {
  std::string_view name;
  void (*set)(SimulatedOptions&, std::string_view value);
};

constexpr std::array<Key, 7> keys{{
    {"mic",
     [](SimulatedOptions& options, std::string_view value) {
       options.microphone = parseText("mic", value, "a file, tone:HZ[:AMPLITUDE], noise[:SEED], silence or loop");
     }},
    {"speaker",
     [](SimulatedOptions& options, std::string_view value) {
       options.speaker = parseText("speaker", value, "null or the path of a file to write");
     }},
    {"rate",
     [](SimulatedOptions& options, std::string_view value) { options.rate = parseNumber("rate", value, 0, mostRate); }},
    {"inputs",
     [](SimulatedOptions& options, std::string_view value) {
       options.inputs = parseNumber("inputs", value, 0, host::DeviceFormat::mostChannels);
     }},
    {"outputs",
     [](SimulatedOptions& options, std::string_view value) {
       options.outputs = parseNumber("outputs", value, 0, host::DeviceFormat::mostChannels);
     }},
    {"slice",
     [](SimulatedOptions& options, std::string_view value) {
       options.slice = parseNumber("slice", value, 1, host::DeviceFormat::mostSliceFrames);
     }},
    {"pace", [](SimulatedOptions& options, std::string_view value) { options.fastPace = parsePace(value); }},
}};

void parsePair(SimulatedOptions& options, std::string_view pair, std::vector<std::string_view>& seen) {
  const std::size_t equals = pair.find('=');
  const std::string_view name = pair.substr(0, equals);
  const auto key = std::ranges::find(keys, name, &Key::name);
  if (key == keys.end()) {
    std::string known;
    for (const Key& each : keys) known += (known.empty() ? "" : ", ") + std::string(each.name);
    refuse("unknown key \"" + std::string(name) + "\"; the keys are " + known);
  }
  if (equals == std::string_view::npos)
    refuse("\"" + std::string(name) + "\" needs a value: " + std::string(name) + "=…");
  if (std::ranges::find(seen, name) != seen.end()) refuse("the key \"" + std::string(name) + "\" is given twice");
  seen.push_back(name);
  key->set(options, pair.substr(equals + 1));
}

}  // namespace

SimulatedOptions parseSimulatedOptions(std::string_view text) {
  if (text.size() > mostCharacters) refuse("the text is longer than " + std::to_string(mostCharacters) + " characters");
  SimulatedOptions options;
  std::vector<std::string_view> seen;
  while (!text.empty()) {
    const std::size_t comma = text.find(',');
    parsePair(options, text.substr(0, comma), seen);
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
    if (text.empty()) refuse("there is nothing behind the last comma");
  }
  return options;
}

}  // namespace orvane::simulated
