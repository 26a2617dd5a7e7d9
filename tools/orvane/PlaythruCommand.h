// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// `orvane playthru`: passes the audio input to the output.
class PlaythruCommand final : public Command {
 public:
  explicit PlaythruCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  UnitOptions mUnit;
  std::optional<double> mSeconds;
};

}  // namespace orvane::tool
