// SPDX-License-Identifier: MIT
#include "platform/simulated/scenario/SimulatedOptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/backend/AudioDevice.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

namespace {

/// The maximum length of the options.
constexpr std::size_t maxBytes = 65536;

/// One KEY=VALUE pair of the options.
struct Pair {
  std::string_view key;
  std::string_view value;

  std::string where() const { return std::string(key) + "=" + std::string(value); }
};

using MaybeNumber = DeviceSettings::MaybeGiven<std::uint32_t>;
using MaybeText = DeviceSettings::MaybeGiven<std::string>;

MaybeNumber parseNumber(const Pair& pair, std::uint32_t min, std::uint32_t max) {
  std::uint32_t number = 0;
  const char* const textEnd = pair.value.data() + pair.value.size();
  const auto [end, error] = std::from_chars(pair.value.data(), textEnd, number);
  if (error != std::errc() || end != textEnd || number < min || number > max) {
    refuse(pair.where(), "a whole number from " + std::to_string(min) + " to " + std::to_string(max) + " is needed");
  }
  return Given<std::uint32_t>{number, pair.where()};
}

DeviceSettings::MaybeGiven<bool> parsePace(const Pair& pair) {
  if (pair.value != "real" && pair.value != "fast") {
    refuse(pair.where(), "the pace is real or fast");
  }
  return Given<bool>{pair.value == "fast", pair.where()};
}

/// Returns the text with "\\," replaced by a comma and "\\\\" by a backslash; other backslashes are unchanged.
std::string unescaped(std::string_view text) {
  std::string result;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const bool isEscape =
        text[index] == '\\' && index + 1 < text.size() && (text[index + 1] == ',' || text[index + 1] == '\\');
    if (isEscape) ++index;
    result += text[index];
  }
  return result;
}

MaybeText parseText(const Pair& pair, std::string_view wanted) {
  if (pair.value.empty()) refuse(pair.where() + " has no value: " + std::string(wanted) + " is needed");
  return Given<std::string>{unescaped(pair.value), pair.where()};
}

/// Returns the length of the first pair of a text, which ends before the first comma that is not escaped.
std::size_t pairLength(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && text[length] != ',') length += text[length] == '\\' ? 2U : 1U;
  return std::min(length, text.size());
}

struct Key {
  std::string_view name;
  void (*set)(SimulatedOptions&, const Pair&);
};

constexpr std::uint32_t maxChannels = backend::DeviceFormat::maxChannels;

constexpr std::array<Key, 11> keys{{
    {"mic",
     [](SimulatedOptions& options, const Pair& pair) {
       options.device.microphone = parseText(pair, "a file, tone:HZ[:AMPLITUDE], noise[:SEED], silence or loop");
     }},
    {"speaker",
     [](SimulatedOptions& options, const Pair& pair) {
       options.device.speaker = parseText(pair, "null or the path of a file to write");
     }},
    {"rate", [](SimulatedOptions& options,
                const Pair& pair) { options.device.rate = parseNumber(pair, 0, DeviceSettings::maxRate); }},
    {"inputs",
     [](SimulatedOptions& options, const Pair& pair) { options.device.inputs = parseNumber(pair, 0, maxChannels); }},
    {"outputs",
     [](SimulatedOptions& options, const Pair& pair) { options.device.outputs = parseNumber(pair, 0, maxChannels); }},
    {"slice",
     [](SimulatedOptions& options, const Pair& pair) {
       options.device.slice = parseNumber(pair, 1, backend::DeviceFormat::maxSliceFrames);
     }},
    {"pace", [](SimulatedOptions& options, const Pair& pair) { options.device.fastPace = parsePace(pair); }},
    {"scenario", [](SimulatedOptions& options,
                    const Pair& pair) { options.scenario = parseText(pair, "the path of a scenario file")->value; }},
    {"midi", [](SimulatedOptions& options,
                const Pair& pair) { options.midi = parseText(pair, "the path of a file with a MIDI inventory"); }},
    {"midi-in", [](SimulatedOptions& options,
                   const Pair& pair) { options.midiInput = parseText(pair, "the path of a standard MIDI file"); }},
    {"midi-capture", [](SimulatedOptions& options,
                        const Pair& pair) { options.midiCapture = parseText(pair, "the path of a file to write"); }},
}};

void parsePair(SimulatedOptions& options, std::string_view pair, std::vector<std::string_view>& seen) {
  const std::size_t equals = pair.find('=');
  const std::string_view name = pair.substr(0, equals);
  const auto key = std::ranges::find(keys, name, &Key::name);
  if (key == keys.end()) {
    std::string known;
    for (const Key& each : keys) known += (known.empty() ? "" : ", ") + std::string(each.name);
    // If a path contains an unescaped comma, the rest of the path looks like a key.
    const bool mayBePath =
        !seen.empty() && (equals == std::string_view::npos || name.find_first_of("/. ") < name.size());
    refuse("unknown key \"" + std::string(name) + "\"; the keys are " + known +
           (mayBePath ? "; a comma inside a value is written \\," : ""));
  }
  if (equals == std::string_view::npos)
    refuse("\"" + std::string(name) + "\" needs a value: " + std::string(name) + "=VALUE");
  if (std::ranges::find(seen, name) != seen.end()) refuse("the key \"" + std::string(name) + "\" is given twice");
  seen.push_back(name);
  key->set(options, {name, pair.substr(equals + 1)});
}

}  // namespace

SimulatedOptions parseSimulatedOptions(std::string_view text) {
  if (text.size() > maxBytes) refuse("the text is longer than " + std::to_string(maxBytes) + " bytes");
  SimulatedOptions options;
  std::vector<std::string_view> seen;
  while (!text.empty()) {
    const std::size_t length = pairLength(text);
    parsePair(options, text.substr(0, length), seen);
    if (length == text.size()) break;
    text.remove_prefix(length + 1);
    if (text.empty()) refuse("nothing follows the last comma");
  }
  return options;
}

}  // namespace orvane::simulated
