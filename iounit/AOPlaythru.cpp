// SPDX-License-Identifier: MIT
#include "iounit/AOPlaythru.h"

#include <algorithm>
#include <cstdint>

#include "platform/RenderBufferList.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"

namespace platform = orvane::platform;
using platform::StreamFormat;

std::shared_ptr<AOPlaythru> AOPlaythru::init() {
  return std::shared_ptr<AOPlaythru>(new AOPlaythru);
}

AOPlaythru::AOPlaythru() = default;

AOPlaythru::~AOPlaythru() {
  tearDown();
}

void AOPlaythru::lazyInit() {
  OVIOUnit::lazyInit();
  setDirections(true, true);
}

void AOPlaythru::start() {
  stopIfRunning();
  initializeAU();
  const StreamFormat input = inputHardwareFormat();
  const StreamFormat output = outputHardwareFormat();
  const StreamFormat client =
      StreamFormat::standard(input.sampleRate(), std::min(input.channelCount(), output.channelCount()));
  setInputClientFormat(client);
  setOutputClientFormat(client);

  constexpr std::int32_t inputElement = 1;
  wrapper().setOutputProvider(
      [render = wrapper().renderOperation()](platform::RenderActionFlags& flags, const platform::RenderTimeStamp& time,
                                             std::uint32_t frames, std::int32_t, platform::RenderBufferList& list) {
        return render(flags, time, frames, inputElement, list, nullptr);
      });
  OVIOUnit::start();
}
