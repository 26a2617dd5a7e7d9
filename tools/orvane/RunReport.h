#pragma once

#include <optional>
#include <string>

#include "platform/DeviceReport.h"
#include "platform/FileReport.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "tools/orvane/Command.h"

namespace orvane::tool {

struct UnitRun;

/// What became of a run.
struct RunResult {
  std::string ended{};  ///< In the words of the JSON object.
  std::string error{};  ///< Empty unless `ended` is "failed".
  ExitStatus status = ExitStatus::done;
  /// The client formats of the sides in use; none where the run did not get so far.
  std::optional<platform::StreamFormat> clientInput{};
  std::optional<platform::StreamFormat> clientOutput{};
  platform::UnitLatency latency{};
};

/// Says what there is to say about a run on standard error: missing frames, what was recorded, the reason of a failure.
/// Where a closing JSON object is wanted, prints that.
void reportRun(const Invocation& invocation, const UnitRun& run, const RunResult& result);

}  // namespace orvane::tool
