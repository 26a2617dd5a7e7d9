// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "tools/orvane/Command.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// The command "sound": plays a numbered system sound, or lists the sounds.
class SoundCommand final : public Command {
 public:
  explicit SoundCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  Outcome list(const Invocation& invocation) const;

  std::optional<std::uint64_t> mIdentifier;
  bool mWait = false;
  bool mList = false;
};

}  // namespace orvane::tool
