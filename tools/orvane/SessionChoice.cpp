// SPDX-License-Identifier: MIT
#include "tools/orvane/SessionChoice.h"

#include <CLI/CLI.hpp>

#include "session/OVPrimarySession.h"

namespace orvane::tool {

void SessionChoice::declare(CLI::App& options) {
  options
      .add_option("--session", mSession,
                  "Session to play or record in (default: auxiliary if --category, --mode or --option is given, "
                  "no session otherwise)")
      ->type_name("primary|auxiliary")
      ->check([](const std::string& text) {
        return text == "primary" || text == "auxiliary"
                   ? ""
                   : "\"" + text + "\" is not a session; it takes primary or auxiliary";
      });
  mSettings.declareSettings(options);
}

std::shared_ptr<OVSession> SessionChoice::make() const {
  if (!mSession && mSettings.empty()) return nullptr;
  std::shared_ptr<OVSession> session = mSession == "primary" ? OVPrimarySession::init() : OVSession::init();
  mSettings.applyTo(*session);
  session->activate();
  return session;
}

}  // namespace orvane::tool
