// SPDX-License-Identifier: MIT
#include "tools/orvane/UnitOptions.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>

#include "session/OVPrimarySession.h"
#include "session/OVSession.h"

namespace orvane::tool {

void UnitOptions::declare(CLI::App& options) {
  options.add_option("--unit", mSubType, "Subtype of the I/O unit, a four-character code (default rioc)")
      ->type_name("CODE")
      ->check([](const std::string& text) {
        const std::string bytes = std::to_string(text.size()) + (text.size() == 1 ? " byte" : " bytes");
        return text.size() == sizeof(std::uint32_t)
                   ? ""
                   : "\"" + text + "\" has " + bytes + "; it takes exactly four, such as rioc";
      });
  options
      .add_option("--session", mSession,
                  "Session that the unit is bound to (default: auxiliary if --category, --mode or --option is given, "
                  "no session otherwise)")
      ->type_name("primary|auxiliary")
      ->check([](const std::string& text) {
        return text == "primary" || text == "auxiliary"
                   ? ""
                   : "\"" + text + "\" is not a session; it takes primary or auxiliary";
      });
  mSettings.declareSettings(options);
}

void UnitOptions::applyTo(OVIOUnit& unit) const {
  if (mSubType) unit.setComponentSubType(mSubType);
  if (!mSession && mSettings.empty()) return;
  const std::shared_ptr<OVSession> session = mSession == "primary" ? OVPrimarySession::init() : OVSession::init();
  mSettings.applyTo(*session);
  session->activate();
  unit.setSession(session);
}

}  // namespace orvane::tool
