// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "platform/Platform.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "platform/Value.h"

namespace orvane::tool {

struct UnitRun;

/// The client side of a run: the formats of the sides in use, or none if the unit did not start.
struct ClientSide {
  std::optional<platform::StreamFormat> input{};
  std::optional<platform::StreamFormat> output{};
  platform::UnitLatency latency{};
};

/// Describes the formats that are present, as members `input` and `output`.
platform::Value describeSides(const std::optional<platform::StreamFormat>& input,
                              const std::optional<platform::StreamFormat>& output);

/// Says on standard error how many places lack frames and, unless `json` is set, what was recorded.
void sayWhatRan(const platform::Platform& host, const ClientSide& client, bool json);

/// Returns the members of the JSON object for a run.
platform::Value describeRun(const platform::Platform& host, const UnitRun& run, const ClientSide& client);

}  // namespace orvane::tool
