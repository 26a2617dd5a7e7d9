// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "iounit/OVIOUnit.h"
#include "tools/orvane/SessionOptions.h"

namespace orvane::tool {

/// The options of every command on an audio unit: which unit, and the session that it is bound to.
///
/// Without any session option the unit is bound to none. With one, a session is made, configured in the order given,
/// activated and bound; auxiliary unless `--session primary` asks for the other.
class UnitOptions {
 public:
  void declare(CLI::App& options);

  /// Sets the unit up, before it is started. Raises what the library raises.
  void applyTo(OVIOUnit& unit) const;

 private:
  std::optional<std::string> mSubType;
  std::optional<std::string> mSession;
  SessionOptions mSettings;
};

}  // namespace orvane::tool
