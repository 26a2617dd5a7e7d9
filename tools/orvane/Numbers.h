// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace CLI {
class App;
}  // namespace CLI

namespace orvane::tool {

/// Parses a finite decimal number, independently of the locale. Returns `std::nullopt` if `text` is not entirely a
/// number.
std::optional<double> parseNumber(std::string_view text);

/// The declaration of an option whose value is a number.
struct NumberOption {
  std::string name;         ///< The option with its dashes, such as "--seconds".
  std::string placeholder;  ///< The placeholder for the number in help texts, such as "S".
  double min = 0;
  double max = 0;
  std::string range;     ///< The unit and range for use in messages, such as "hertz, from 1 to 768000".
  bool isWhole = false;  ///< Whether numbers with a fraction are refused.
};

/// Adds `option` to the parser `options`; if the option is given, its value is stored in `target`. Text that is not a
/// number and numbers out of range are usage errors.
void addNumber(CLI::App& options, const NumberOption& option, std::optional<double>& target,
               const std::string& description);

/// Adds the option "--seconds" of audio runs.
void addSeconds(CLI::App& options, std::optional<double>& seconds);

}  // namespace orvane::tool
