// SPDX-License-Identifier: MIT
#pragma once

#include "tools/orvane/Command.h"
#include "tools/orvane/SessionOptions.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// `orvane session`: configures an audio session and shows its settings.
class SessionCommand final : public Command {
 public:
  explicit SessionCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  SessionOptions mSettings;
  bool mPrimary = false;
};

}  // namespace orvane::tool
