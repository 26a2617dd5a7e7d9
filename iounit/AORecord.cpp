// SPDX-License-Identifier: MIT
#include "iounit/AORecord.h"

#include <cstdint>
#include <utility>

#include "iounit/CapturedInput.h"
#include "iounit/RecordInputHandler.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"

namespace platform = orvane::platform;
using platform::StreamFormat;

std::shared_ptr<AORecord> AORecord::initWithFilePath(std::string filePath) {
  return std::shared_ptr<AORecord>(new AORecord(std::move(filePath)));
}

AORecord::AORecord(std::string filePath) : _filePath(std::move(filePath)) {}

AORecord::~AORecord() {
  tearDown();
}

void AORecord::lazyInit() {
  OVIOUnit::lazyInit();
  setDirections(true, false);
}

void AORecord::start() {
  stopIfRunning();
  initializeAU();
  const StreamFormat hardware = inputHardwareFormat();
  const double sampleRate = _clientSampleRate == 0.0 ? hardware.sampleRate() : _clientSampleRate;
  const StreamFormat client = StreamFormat::standard(sampleRate, hardware.channelCount());
  setInputClientFormat(client);
  platform::RenderOperation render = wrapper().renderOperation();

  auto handler = std::make_unique<orvane::RecordInputHandler>(services(), _filePath, client);
  // Remove the closure of an earlier start. It refers to the handler that is replaced here, and would stay installed if
  // a step below failed.
  if (mInputHandler) wrapper().setInputHandler(nullptr);
  mInputHandler = std::move(handler);
  wrapper().setInputHandler([handler = mInputHandler.get(), render = std::move(render)](
                                platform::RenderActionFlags& flags, const platform::RenderTimeStamp& time,
                                std::uint32_t frames, std::int32_t bus) {
    orvane::renderCapturedInput(render, {flags, time, frames, bus}, handler->mBufferList, "IORecord");
    handler->write(frames);
  });
  OVIOUnit::start();
}
