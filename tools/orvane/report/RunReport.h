// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "platform/Platform.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "platform/Value.h"

namespace orvane::tool {

struct AudioRun;

/// The client formats of the sides (input, output) that a run uses, and its latency. The formats are empty if the unit
/// did not start.
struct ClientSide {
  std::optional<platform::StreamFormat> input{};
  std::optional<platform::StreamFormat> output{};
  platform::UnitLatency latency{};
};

/// Returns a dictionary with the descriptions of the formats that are present, as members `input` and `output`.
platform::Value describeSides(const std::optional<platform::StreamFormat>& input,
                              const std::optional<platform::StreamFormat>& output);

/// Prints the result of a run on standard error: in how many places frames are missing, and, unless `json` is true,
/// which files were recorded.
void sayWhatRan(const platform::Platform& host, const ClientSide& client, bool json);

/// Returns the members of the JSON object that describe a run.
platform::Value describeRun(const platform::Platform& host, const AudioRun& run, const ClientSide& client);

}  // namespace orvane::tool
