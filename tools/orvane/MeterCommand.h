// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// `orvane meter`: shows the level of the audio input live.
class MeterCommand final : public Command {
 public:
  explicit MeterCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;
  bool classPrints() const override { return true; }

 private:
  UnitOptions mUnit;
  std::optional<double> mSeconds;
};

}  // namespace orvane::tool
