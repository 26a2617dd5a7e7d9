// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::host {

// What a session may be set to. All texts are the platform's own identifiers; nothing here keeps state.
//
// A category has an input, an output or both, and plays together with others or alone (only solo-ambient does). Each
// option needs some of that:
//
//   mixWithOthers, duckOthers, mixExceptWithSpokenAudio   an output that plays together with others
//   allowHFP (hands-free headsets, for their microphone)  an input
//   allowA2DP, allowSkycast (remote speakers)             an output
//   defaultToSpeaker                                      both: a category without input uses the speaker anyway
//
// Every known mode goes with every category.

/// False for a category that is not known.
bool categoryHasInput(std::string_view category);
bool categoryHasOutput(std::string_view category);

/// All `platform::session_option` bits that make sense with the category; none for one that is not known.
std::uint64_t sensibleOptions(std::string_view category);

/// Why a session cannot be set so, as a sentence that says what would be right; nothing where it can.
std::optional<std::string> whyNotCategory(std::string_view category);
std::optional<std::string> whyNotMode(std::string_view mode);
/// The category is a known one.
std::optional<std::string> whyNotOptions(std::string_view category, std::uint64_t options);

}  // namespace orvane::host
