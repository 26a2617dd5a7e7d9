// SPDX-License-Identifier: MIT
#include "iounit/AOMeter.h"

#include <cstdint>
#include <utility>

#include "iounit/CapturedInput.h"
#include "iounit/MeterInputHandler.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"

namespace platform = orvane::platform;

std::shared_ptr<AOMeter> AOMeter::init() {
  return std::shared_ptr<AOMeter>(new AOMeter);
}

AOMeter::AOMeter() = default;

AOMeter::~AOMeter() {
  tearDown();
}

void AOMeter::lazyInit() {
  OVIOUnit::lazyInit();
  setDirections(true, false);
}

void AOMeter::start() {
  stopIfRunning();
  initializeAU();
  const platform::StreamFormat hardware = inputHardwareFormat();

  auto handler =
      std::make_unique<orvane::MeterInputHandler>(static_cast<int>(hardware.channelCount()), hardware.sampleRate());
  // Remove the closure of an earlier start. It refers to the handler that is replaced here, and would stay installed if
  // a step below failed.
  if (mInputHandler) wrapper().setInputHandler(nullptr);
  mInputHandler = std::move(handler);

  setInputClientFormat(platform::StreamFormat::standard(hardware.sampleRate(),
                                                        static_cast<std::uint32_t>(mInputHandler->mChannelCount)));
  platform::RenderOperation render = wrapper().renderOperation();
  wrapper().setInputHandler([handler = mInputHandler.get(), render = std::move(render)](
                                platform::RenderActionFlags& flags, const platform::RenderTimeStamp& time,
                                std::uint32_t frames, std::int32_t bus) {
    orvane::renderCapturedInput(render, {flags, time, frames, bus}, handler->mBufferList, "Meter");
    handler->process(frames);
  });
  OVIOUnit::start();
}
