// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/UnitService.h"

namespace orvane {

/// The arguments of an input handler.
struct CapturedSlice {
  platform::RenderActionFlags& flags;
  const platform::RenderTimeStamp& time;
  std::uint32_t frames;
  std::int32_t bus;
};

/// Renders a slice of captured input into `list`, which has one entry a channel of the input client format. Afterwards
/// each entry has `slice.frames` 32-bit float samples in the unit's memory, valid until the input handler returns. Call
/// it inside an input handler only. Real-time safe.
///
/// If the render fails, writes "Error STATUS while rendering in PLACE" to standard error and ends the process
/// abnormally: an input handler cannot report a failure, and a meter or a recording would show wrong results without
/// it.
void renderCapturedInput(const platform::RenderOperation& render, const CapturedSlice& slice, PX::BufferList& list,
                         std::string_view place);

}  // namespace orvane
