// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "platform/Platform.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "platform/Value.h"

namespace orvane::tool {

struct UnitRun;

/// The client side of a run: the formats of the sides in use, none where the run did not get so far.
struct ClientSide {
  std::optional<platform::StreamFormat> input{};
  std::optional<platform::StreamFormat> output{};
  platform::UnitLatency latency{};
};

/// The formats of the sides that have one, as `input` and `output`.
platform::Value describeSides(const std::optional<platform::StreamFormat>& input,
                              const std::optional<platform::StreamFormat>& output);

/// Says on standard error what a run left behind: missing frames, and the recordings unless `json` has them.
void sayWhatRan(const platform::Platform& host, const ClientSide& client, bool json);

/// The members of the JSON object of a command that runs.
platform::Value describeRun(const platform::Platform& host, const UnitRun& run, const ClientSide& client);

}  // namespace orvane::tool
