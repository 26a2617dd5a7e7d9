// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::host {

// Rules for the settings of sessions. Names are the platform's identifiers. The functions keep no state. Thread-safe;
// not real-time safe.
//
// A category has an input, an output or both, and its output mixes with other sessions or not (only solo-ambient does
// not). Each option requires some of this:
//
// - mixWithOthers, duckOthers, mixExceptWithSpokenAudio: an output that mixes;
// - allowHFP (the microphone of hands-free headsets): an input;
// - allowA2DP, allowSkycast (wireless speakers): an output;
// - defaultToSpeaker: both, as a category without input uses the speaker anyway.
//
// Every category accepts every mode.

/// Whether the category has that side; false for an unknown category.
bool categoryHasInput(std::string_view category);
bool categoryHasOutput(std::string_view category);

/// Returns all `platform::session_option` bits that the category accepts; none for an unknown category.
std::uint64_t sensibleOptions(std::string_view category);

/// Returns nothing if the setting is allowed, otherwise a sentence that states what would be right.
std::optional<std::string> whyNotCategory(std::string_view category);
std::optional<std::string> whyNotMode(std::string_view mode);
/// As above; `category` must be known.
std::optional<std::string> whyNotOptions(std::string_view category, std::uint64_t options);

}  // namespace orvane::host
