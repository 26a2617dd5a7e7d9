// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "session/OVSession.h"
#include "tools/orvane/SessionOptions.h"

namespace CLI {
class App;
}  // namespace CLI

namespace orvane::tool {

/// The options with which a command chooses the session to play or record in.
class SessionChoice {
 public:
  void declare(CLI::App& options);

  /// Creates the session (auxiliary, or the primary one with `--session primary`), applies the options in the given
  /// order and activates it. Returns null if no option was given. Throws the exceptions of the library.
  std::shared_ptr<OVSession> make() const;

 private:
  std::optional<std::string> mSession;
  SessionOptions mSettings;
};

}  // namespace orvane::tool
