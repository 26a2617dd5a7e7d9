// SPDX-License-Identifier: MIT
#include "tools/orvane/Numbers.h"

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

CLI::Option* addNumber(CLI::App& options, const std::string& name, std::optional<double>& target,
                       const NumberRange& range, const std::string& description) {
  const auto take = [name, &target, range](const std::string& text) {
    const std::optional<double> number = parseNumber(text);
    if (!number) throw CLI::ValidationError(name, "\"" + text + "\" is no number; it takes " + range.text);
    if (*number < range.least || *number > range.most) {
      throw CLI::ValidationError(name, text + " is out of range; it takes " + range.text);
    }
    if (range.isWhole && *number != std::floor(*number)) {
      throw CLI::ValidationError(name, text + " has a fraction; it takes " + range.text);
    }
    target = number;
  };
  return options.add_option_function<std::string>(name, take, description);
}

}  // namespace orvane::tool
