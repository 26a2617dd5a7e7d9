// SPDX-License-Identifier: MIT
#pragma once

#include "tools/orvane/Command.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// The command "formats": lists the types of sound file that the host can write.
class FormatsCommand final : public Command {
 public:
  explicit FormatsCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  bool mDataFormats = false;
};

}  // namespace orvane::tool
