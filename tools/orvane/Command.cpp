// SPDX-License-Identifier: MIT
#include "tools/orvane/Command.h"

#include <CLI/CLI.hpp>

namespace orvane::tool {

Command::Command(CLI::App& parent, const std::string& name, const std::string& description)
    : mOptions(*parent.add_subcommand(name, description)->group("Commands")) {}

bool Command::takes(const std::string& option) const {
  return mOptions.get_option_no_throw(option) != nullptr;
}

std::string Command::name() const {
  // The parent of a command is the tool itself or a group of commands, such as "midi".
  const CLI::App& parent = *mOptions.get_parent();
  return (parent.get_parent() == nullptr ? "" : parent.get_name() + " ") + mOptions.get_name();
}

std::string Command::lastWord() const {
  return mOptions.get_name();
}

bool Command::wasChosen() const {
  return mOptions.parsed();
}

}  // namespace orvane::tool
