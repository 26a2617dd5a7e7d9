// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::host {

// Rules that decide which settings of sessions are valid. Categories and modes are the platform's identifiers, such as
// "orvane.category.record". The functions keep no state. Thread-safe; not real-time safe.
//
// A category has an input, an output or both. The output of every category except solo-ambient mixes with that of other
// sessions. Each option has a requirement:
//
// - mixWithOthers, duckOthers, mixExceptWithSpokenAudio: an output that mixes;
// - allowHFP (the microphone of hands-free headsets): an input;
// - allowA2DP, allowSkycast (wireless speakers): an output;
// - defaultToSpeaker: an input and an output, because a category without input uses the speaker anyway.
//
// Every category accepts every mode.

/// Returns whether the category has an input; returns false for an unknown category.
bool categoryHasInput(std::string_view category);
/// Returns whether the category has an output; returns false for an unknown category.
bool categoryHasOutput(std::string_view category);

/// Returns all `platform::session_option` bits that the category accepts, or 0 for an unknown category.
std::uint64_t sensibleOptions(std::string_view category);

/// Returns `std::nullopt` if the category is known, otherwise a sentence for use in messages that lists the known
/// categories.
std::optional<std::string> whyNotCategory(std::string_view category);
/// Returns `std::nullopt` if the mode is known, otherwise a sentence for use in messages that lists the known modes.
std::optional<std::string> whyNotMode(std::string_view mode);
/// Returns `std::nullopt` if the category accepts all bits of `options`, otherwise a sentence for use in messages that
/// states what the refused option requires. `category` must be known.
std::optional<std::string> whyNotOptions(std::string_view category, std::uint64_t options);

}  // namespace orvane::host
