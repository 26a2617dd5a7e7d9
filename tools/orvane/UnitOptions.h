// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/SessionOptions.h"

namespace orvane::tool {

/// The options of every command on an I/O unit: which unit, and the session that it is bound to.
///
/// Without a session option the unit is bound to no session. With one, a session (auxiliary unless `--session primary`
/// is given) is configured in the order of the options, activated and bound.
class UnitOptions {
 public:
  void declare(CLI::App& options);

  /// Sets the unit up before it is started. Throws what the library throws.
  void applyTo(OVIOUnit& unit) const;

 private:
  std::optional<std::string> mSubType;
  std::optional<std::string> mSession;
  SessionOptions mSettings;
};

}  // namespace orvane::tool
