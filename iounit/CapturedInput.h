// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/UnitService.h"

namespace orvane {

/// The arguments of a `platform::InputHandler`.
struct CapturedSlice {
  platform::RenderActionFlags& flags;
  const platform::RenderTimeStamp& time;
  std::uint32_t frames;
  std::int32_t bus;
};

/// Renders captured input into `list`, which must have one entry per channel of the input client format. Afterwards
/// each entry refers to `slice.frames` 32-bit float samples in the unit's memory, valid until the input handler
/// returns. Must be called inside an input handler. Real-time safe.
///
/// If the render operation fails, prints "Error STATUS while rendering in PLACE" on standard error and aborts the
/// process, because an input handler cannot report a failure, and a meter or recording that continued would give wrong
/// results.
void renderCapturedInput(const platform::RenderOperation& render, const CapturedSlice& slice, PX::BufferList& list,
                         std::string_view place);

}  // namespace orvane
