// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "tools/orvane/Command.h"
#include "tools/orvane/SessionChoice.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// The command "queue record": records the audio input to a file through a buffer queue.
class QueueRecordCommand final : public Command {
 public:
  explicit QueueRecordCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  std::string mPath;
  std::string mFormat;  ///< In the notation of linear PCM formats; empty for the default of the file type.
  std::optional<double> mSeconds;
  SessionChoice mSession;
};

/// The command "queue play": plays a file through a buffer queue.
class QueuePlayCommand final : public Command {
 public:
  explicit QueuePlayCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  std::string mPath;
  std::optional<double> mSeconds;
  SessionChoice mSession;
};

}  // namespace orvane::tool
