// SPDX-License-Identifier: MIT
#include "platform/host/sessions/SessionPolicy.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <vector>

#include "platform/PlatformSession.h"
#include "platform/SessionIdentifiers.h"

namespace orvane::host {

namespace {

// Bits that describe which sides a category has, or which an option requires.
using Traits = unsigned;
constexpr Traits input = 1;
constexpr Traits output = 2;
constexpr Traits mixing = 4;

struct Category {
  std::string_view identifier;
  Traits traits;
};

constexpr std::array<Category, 19> categories{{
    {platform::category::ambient, output | mixing},
    {platform::category::soloAmbient, output},
    {platform::category::playback, output | mixing},
    {platform::category::record, input},
    {platform::category::playAndRecord, input | output | mixing},
    {platform::category::multiRoute, input | output | mixing},
    {platform::category::narrava, output | mixing},
    {platform::category::voiceCommand, input | output | mixing},
    {platform::category::ringtonePreview, output | mixing},
    {platform::category::ringtone, output | mixing},
    {platform::category::voiceMail, output | mixing},
    {platform::category::phoneCall, input | output | mixing},
    {platform::category::ttyCall, input | output | mixing},
    {platform::category::alarm, output | mixing},
    {platform::category::playbackNoSpeaker, output | mixing},
    {platform::category::emergencyAlert, output | mixing},
    {platform::category::emergencyAlertCanBeMuted, output | mixing},
    {platform::category::locatron, output | mixing},
    {platform::category::waterEjection, output | mixing},
}};

constexpr std::array<std::string_view, 16> modes{
    platform::mode::defaultMode,
    platform::mode::voiceChat,
    platform::mode::gameChat,
    platform::mode::videoRecording,
    platform::mode::measurement,
    platform::mode::moviePlayback,
    platform::mode::spokenAudio,
    platform::mode::videoChat,
    platform::mode::speechRecognition,
    platform::mode::voicePrompt,
    platform::mode::raw,
    platform::mode::voiceMessages,
    platform::mode::locatePhone,
    platform::mode::hearingAccessibility,
    platform::mode::motiongram,
    platform::mode::sos,
};

struct Option {
  std::uint64_t bit;
  std::string_view name;
  Traits needs;
  std::string_view right;  ///< Describes the categories that accept the option, for use in messages.
};

constexpr std::string_view mixesRight = "a category that plays together with others, such as orvane.category.ambient";
constexpr std::string_view inputRight = "a category with input, such as orvane.category.record";
constexpr std::string_view outputRight = "a category with output, such as orvane.category.playback";
constexpr std::string_view bothRight = "a category with input and output, such as orvane.category.play-and-record";

constexpr std::array<Option, 7> allOptions{{
    {platform::session_option::mixWithOthers, "mixWithOthers", output | mixing, mixesRight},
    {platform::session_option::duckOthers, "duckOthers", output | mixing, mixesRight},
    {platform::session_option::allowHFP, "allowHFP", input, inputRight},
    {platform::session_option::defaultToSpeaker, "defaultToSpeaker", input | output, bothRight},
    {platform::session_option::mixExceptWithSpokenAudio, "mixExceptWithSpokenAudio", output | mixing, mixesRight},
    {platform::session_option::allowA2DP, "allowA2DP", output, outputRight},
    {platform::session_option::allowSkycast, "allowSkycast", output, outputRight},
}};

constexpr std::uint64_t knownOptions = [] {
  std::uint64_t bits = 0;
  for (const Option& option : allOptions) bits |= option.bit;
  return bits;
}();

Traits traitsOf(std::string_view category) {
  const auto entry = std::ranges::find(categories, category, &Category::identifier);
  return entry == categories.end() ? 0 : entry->traits;
}

bool fits(const Option& option, Traits traits) {
  return (option.needs & ~traits) == 0;
}

/// Returns the sentence for an unknown name. All `identifiers` must begin with `prefix`.
std::string unknownName(const std::string& what, std::string_view name, const std::string& shortName,
                        const std::string& prefix, const std::vector<std::string_view>& identifiers) {
  std::string text = "no " + what + " is named \"" + std::string(name) + "\"; short names such as \"" + shortName +
                     "\" are case-sensitive, and the platform's identifiers are \"" + prefix + "\" followed by";
  const char* separator = " one of ";
  for (const std::string_view identifier : identifiers) {
    text += separator;
    text += identifier.substr(prefix.size());
    separator = ", ";
  }
  return text;
}

}  // namespace

bool categoryHasInput(std::string_view category) {
  return (traitsOf(category) & input) != 0;
}

bool categoryHasOutput(std::string_view category) {
  return (traitsOf(category) & output) != 0;
}

std::uint64_t sensibleOptions(std::string_view category) {
  std::uint64_t bits = 0;
  for (const Option& option : allOptions) {
    if (fits(option, traitsOf(category))) bits |= option.bit;
  }
  return bits;
}

std::optional<std::string> whyNotCategory(std::string_view category) {
  if (traitsOf(category) != 0) return std::nullopt;
  std::vector<std::string_view> identifiers;
  identifiers.reserve(categories.size());
  for (const Category& known : categories) identifiers.push_back(known.identifier);
  return unknownName("category", category, "PlayAndRecord", "orvane.category.", identifiers);
}

std::optional<std::string> whyNotMode(std::string_view mode) {
  if (std::ranges::find(modes, mode) != modes.end()) return std::nullopt;
  return unknownName("mode", mode, "Measurement", "orvane.mode.", {modes.begin(), modes.end()});
}

std::optional<std::string> whyNotOptions(std::string_view category, std::uint64_t options) {
  if (const std::uint64_t unknown = options & ~knownOptions) {
    char text[96];
    std::snprintf(text, sizeof text, "unknown option bits 0x%" PRIx64 "; the known bits are 0x%" PRIx64, unknown,
                  knownOptions);
    return text;
  }
  for (const Option& option : allOptions) {
    if ((options & option.bit) == 0 || fits(option, traitsOf(category))) continue;
    return std::string(option.name) + " makes no sense with " + std::string(category) + "; it needs " +
           std::string(option.right);
  }
  return std::nullopt;
}

}  // namespace orvane::host
