// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "tools/orvane/Command.h"
#include "tools/orvane/UnitOptions.h"

namespace orvane::tool {

/// `orvane record`: records the audio input to a file.
class RecordCommand final : public Command {
 public:
  explicit RecordCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  UnitOptions mUnit;
  std::string mPath;
  std::optional<double> mSeconds;
  std::optional<double> mClientRate;
};

}  // namespace orvane::tool
