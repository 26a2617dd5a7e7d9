// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/SessionOptions.h"

namespace orvane::tool {

/// The options that all commands with an I/O unit have: which unit to use, and which session to bind it to.
///
/// If any session option is given, a session is created (auxiliary, or the primary one with `--session primary`), the
/// options are applied in the given order, the session is activated, and the unit is bound to it. Otherwise the unit is
/// not bound to a session.
class UnitOptions {
 public:
  void declare(CLI::App& options);

  /// Applies the options to the unit, which must not be started yet. Throws the exceptions of the library.
  void applyTo(OVIOUnit& unit) const;

 private:
  std::optional<std::string> mSubType;
  std::optional<std::string> mSession;
  SessionOptions mSettings;
};

}  // namespace orvane::tool
