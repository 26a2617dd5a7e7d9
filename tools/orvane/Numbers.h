// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::tool {

/// The finite decimal number that is all of `text`, whatever the locale; nothing where it is no such number.
std::optional<double> parseNumber(std::string_view text);

/// The numbers that an option accepts.
struct NumberRange {
  double least = 0;
  double most = 0;
  /// How a message names it, such as "hertz, from 1 to 768000".
  std::string text;
  bool isWhole = false;  ///< Fractions are refused.
};

/// Adds an option that takes one number. Text that is none, or a number out of range, is wrong usage.
CLI::Option* addNumber(CLI::App& options, const std::string& name, std::optional<double>& target,
                       const NumberRange& range, const std::string& description);

}  // namespace orvane::tool
