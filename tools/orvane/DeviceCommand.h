// SPDX-License-Identifier: MIT
#pragma once

#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// `orvane device`: shows the formats of the audio hardware and of a unit's clients.
class DeviceCommand final : public Command {
 public:
  explicit DeviceCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  UnitOptions mUnit;
  bool mList = false;
};

}  // namespace orvane::tool
