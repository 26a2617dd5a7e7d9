// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvane {

/// Returns the text up to its first zero byte, cut to the longest prefix of whole UTF-8 characters that has at most
/// `maxBytes` bytes.
std::string cutToCharacters(std::string_view text, std::size_t maxBytes);

/// Returns the text up to its first zero byte in the character set ISO 8859-1, cut to at most `maxCharacters`
/// characters. Characters that the set lacks, and bytes that are not UTF-8, become "?".
std::string westernText(std::string_view text, std::size_t maxCharacters);

}  // namespace orvane
