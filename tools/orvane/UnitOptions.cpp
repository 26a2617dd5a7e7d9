// SPDX-License-Identifier: MIT
#include "tools/orvane/UnitOptions.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>

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
  mSession.declare(options);
}

void UnitOptions::applyTo(OVIOUnit& unit) const {
  if (mSubType) unit.setComponentSubType(mSubType);
  if (const auto session = mSession.make()) unit.setSession(session);
}

}  // namespace orvane::tool
