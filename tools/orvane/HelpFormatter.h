// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

namespace CLI {
class FormatterBase;
}  // namespace CLI

namespace orvane::tool {

/// Creates the formatter of help texts. It wraps them at 80 columns and puts descriptions in a separate column. Lines
/// of the footer that begin with a space (examples and tables) are not wrapped.
std::shared_ptr<CLI::FormatterBase> makeHelpFormatter();

}  // namespace orvane::tool
