// SPDX-License-Identifier: MIT
#include "tools/orvane/HelpFormatter.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <sstream>
#include <string>

namespace orvane::tool {

namespace {

constexpr std::size_t width = 80;
constexpr std::size_t descriptionColumn = 31;

/// Wraps a line that begins in column `indent`, so that all lines end before column `width`. Further lines are indented
/// by `indent` columns.
std::string wrapLine(const std::string& line, std::size_t indent) {
  std::istringstream words(line);
  std::string result;
  std::size_t column = indent;
  for (std::string word; words >> word;) {
    const bool isFirst = column == indent;
    if (!isFirst && column + 1 + word.size() > width) {
      result += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (!isFirst) {
      result += ' ';
      ++column;
    }
    result += word;
    column += word.size();
  }
  return result;
}

std::string wrapText(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    result += (line.starts_with(' ') ? line : wrapLine(line, 0)) + "\n";
  }
  return result;
}

/// Returns a row of a list: `name`, followed by `description` in the column of descriptions.
std::string row(std::string name, const std::string& description) {
  name.insert(0, 2, ' ');
  name += name.size() < descriptionColumn ? std::string(descriptionColumn - name.size(), ' ')
                                          : "\n" + std::string(descriptionColumn, ' ');
  return name + wrapLine(description, descriptionColumn) + "\n";
}

class HelpFormatter final : public CLI::Formatter {
 public:
  HelpFormatter() { label("SUBCOMMAND", "COMMAND"); }

  std::string make_description(const CLI::App* app) const override { return wrapText(app->get_description()) + "\n"; }
  std::string make_footer(const CLI::App* app) const override { return wrapText(app->get_footer()); }
  std::string make_subcommand(const CLI::App* command) const override {
    return row(command->get_name(), command->get_description());
  }
  std::string make_option(const CLI::Option* option, bool isPositional) const override {
    return row(make_option_name(option, isPositional) + make_option_opts(option), make_option_desc(option));
  }
};

}  // namespace

std::shared_ptr<CLI::FormatterBase> makeHelpFormatter() {
  return std::make_shared<HelpFormatter>();
}

}  // namespace orvane::tool
