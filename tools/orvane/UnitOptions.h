// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/SessionChoice.h"

namespace orvane::tool {

/// The options that all commands with an I/O unit have: which unit to use, and which session to bind it to.
class UnitOptions {
 public:
  void declare(CLI::App& options);

  /// Applies the options to the unit, which must not be started yet. Throws the exceptions of the library.
  void applyTo(OVIOUnit& unit) const;

 private:
  std::optional<std::string> mSubType;
  SessionChoice mSession;
};

}  // namespace orvane::tool
