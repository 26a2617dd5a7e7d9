// SPDX-License-Identifier: MIT
#include "platform/host/units/IoUnitWrapper.h"

#include <string>
#include <utility>

#include "platform/PlatformException.h"
#include "platform/RenderBufferList.h"
#include "platform/Status.h"

namespace orvane::host {

using platform::PlatformError;
using platform::StreamFormat;

namespace {

StreamFormat hardwareInput(const IoUnit& unit) {
  return unit.hardwareInput();
}
StreamFormat hardwareOutput(const IoUnit& unit) {
  return unit.hardwareOutput();
}
StreamFormat clientInput(const IoUnit& unit) {
  return unit.clientInput();
}
StreamFormat clientOutput(const IoUnit& unit) {
  return unit.clientOutput();
}

std::optional<PlatformError> setClientInput(IoUnit& unit, const StreamFormat& format) {
  return unit.setClientInput(format);
}

std::optional<PlatformError> setClientOutput(IoUnit& unit, const StreamFormat& format) {
  return unit.setClientOutput(format);
}

std::optional<PlatformError> refuseHardware(IoUnit&, const StreamFormat&) {
  return PlatformError(platform::status::unsupportedFormat, "UnitBus::setFormat",
                       "the hardware's format is the device's; set the client's side");
}

platform::UnitBus& busAt(auto& buses, std::uint32_t element) {
  if (element >= buses.size()) {
    throw platform::PlatformException("UnitException",
                                      "an I/O unit has elements 0 and 1, not " + std::to_string(element));
  }
  return buses[element];
}

}  // namespace

IoUnitWrapper::IoUnitWrapper(std::shared_ptr<IoUnit> unit)
    : mUnit(std::move(unit)),
      mInputBuses{{{*mUnit, clientOutput, setClientOutput}, {*mUnit, hardwareInput, refuseHardware}}},
      mOutputBuses{{{*mUnit, hardwareOutput, refuseHardware}, {*mUnit, clientInput, setClientInput}}} {}

platform::UnitBus& IoUnitWrapper::inputBus(std::uint32_t element) {
  return busAt(mInputBuses, element);
}

platform::UnitBus& IoUnitWrapper::outputBus(std::uint32_t element) {
  return busAt(mOutputBuses, element);
}

void IoUnitWrapper::setInputHandler(platform::InputHandler handler) {
  if (mValid) mUnit->setInputHandler(std::move(handler));
}

void IoUnitWrapper::setOutputProvider(platform::OutputProvider provider) {
  if (mValid) mUnit->setOutputProvider(std::move(provider));
}

platform::RenderOperation IoUnitWrapper::renderOperation() {
  return [unit = mUnit](platform::RenderActionFlags&, const platform::RenderTimeStamp&, std::uint32_t frames,
                        std::int32_t bus, platform::RenderBufferList& list,
                        const platform::PullInput*) { return unit->render(frames, bus, list); };
}

void IoUnitWrapper::invalidate() {
  mUnit->stop();
  setInputHandler(nullptr);
  setOutputProvider(nullptr);
  mValid = false;
}

}  // namespace orvane::host
