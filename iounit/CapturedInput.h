// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/UnitService.h"

namespace orvane {

/// One slice of captured input, as an input handler is told of it.
struct CapturedSlice {
  platform::RenderActionFlags& flags;
  const platform::RenderTimeStamp& time;
  std::uint32_t frames;
  std::int32_t bus;
};

/// Pulls a slice of 32-bit float samples into `list`, one channel an entry: afterwards the entries refer to the unit's
/// memory, valid until the input handler returns. Called inside an input handler only; real-time safe.
///
/// If the render fails, writes "Error <status> while rendering in <place>" to standard error and ends the process
/// abnormally: an input handler has nobody to report to, and what a meter or a recording showed from then on
/// would be wrong.
void renderCapturedInput(const platform::RenderOperation& render, const CapturedSlice& slice, PX::BufferList& list,
                         std::string_view place);

}  // namespace orvane
