// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CLI {
class App;
}  // namespace CLI

namespace orvane::tool {

/// Reads a finite decimal number that fills all of `text`, whatever the locale. Returns nothing for any other text.
std::optional<double> parseNumber(std::string_view text);

/// An option that takes one number.
struct NumberOption {
  std::string name;         ///< With its dashes, such as "--seconds".
  std::string placeholder;  ///< Stands for the number in help texts, such as "S".
  double min = 0;
  double max = 0;
  std::string range;     ///< The range in words for messages, such as "hertz, from 1 to 768000".
  bool isWhole = false;  ///< Fractions are refused.
};

/// Declares `option`, which sets `target` when it is given. Text that is not a number, and a number out of range, are
/// wrong usage.
void addNumber(CLI::App& options, const NumberOption& option, std::optional<double>& target,
               const std::string& description);

}  // namespace orvane::tool
