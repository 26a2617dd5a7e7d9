// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

namespace CLI {
class FormatterBase;
}  // namespace CLI

namespace orvane::tool {

/// Makes the formatter of help texts: 80 columns wide, with descriptions in a column of their own. Lines of a footer
/// that begin with a blank (examples and tables) are not wrapped.
std::shared_ptr<CLI::FormatterBase> makeHelpFormatter();

}  // namespace orvane::tool
