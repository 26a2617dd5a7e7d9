// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// `orvane tone`: plays a sine test tone.
class ToneCommand final : public Command {
 public:
  explicit ToneCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  /// Raises wrong usage where a channel's frequency is above half the rate at which it is rendered.
  void checkFrequency(double frequency, double rate) const;

  UnitOptions mUnit;
  std::optional<double> mSeconds;
  std::optional<double> mFrequency;
  std::optional<double> mAmplitude;
  std::optional<double> mClientRate;
  bool mMonotone = false;
};

}  // namespace orvane::tool
