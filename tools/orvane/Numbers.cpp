// SPDX-License-Identifier: MIT
#include "tools/orvane/Numbers.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <system_error>

namespace orvane::tool {

std::optional<double> parseNumber(std::string_view text) {
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [parsedTo, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || parsedTo != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

void addNumber(CLI::App& options, const NumberOption& option, std::optional<double>& target,
               const std::string& description) {
  const auto take = [option, &target](const std::string& text) {
    const auto refuse = [&option](const std::string& problem) {
      throw CLI::ValidationError(option.name, problem + "; it takes " + option.range);
    };
    const std::optional<double> number = parseNumber(text);
    if (!number) refuse("\"" + text + "\" is not a number");
    if (*number < option.min || *number > option.max) refuse(text + " is out of range");
    if (option.isWhole && *number != std::floor(*number)) refuse(text + " has a fraction");
    target = number;
  };
  options.add_option_function<std::string>(option.name, take, description)->type_name(option.placeholder);
}

void addSeconds(CLI::App& options, std::optional<double>& seconds) {
  addNumber(options, {"--seconds", "S", 1e-6, 1e9, "seconds, from 0.000001 to 1000000000"}, seconds,
            "End after exactly this much device time, rounded up to a frame");
}

}  // namespace orvane::tool
