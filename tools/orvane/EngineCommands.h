// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/orvane/Command.h"
#include "tools/orvane/SessionChoice.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// The job of an engine: the files to play and the file to record.
struct EngineJob {
  std::vector<std::string> paths;  ///< Files to play, in this order.
  std::string url;                 ///< File to record to; empty for none.
  bool detectsSilence = false;
};

/// The command "engine play": plays files one after the other through the graph engine.
class EnginePlayCommand final : public Command {
 public:
  explicit EnginePlayCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  EngineJob mJob;
  std::optional<double> mSeconds;
  SessionChoice mSession;
};

/// The command "engine record": records the audio input to a file through the graph engine.
class EngineRecordCommand final : public Command {
 public:
  explicit EngineRecordCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  EngineJob mJob;
  std::optional<double> mSeconds;
  SessionChoice mSession;
};

}  // namespace orvane::tool
