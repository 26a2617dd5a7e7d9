// SPDX-License-Identifier: MIT
#include "platform/host/graph/HostInputNode.h"

#include <string>
#include <utility>

#include "platform/PlatformException.h"

namespace orvane::host {

using platform::PlatformException;
using platform::StreamFormat;

namespace {

void checkBus(std::uint32_t bus) {
  if (bus == 0) return;
  throw PlatformException("GraphException", "the input node has bus 0 only, not " + std::to_string(bus));
}

}  // namespace

HostInputNode::HostInputNode(std::shared_ptr<GraphCore> core) : mCore(std::move(core)) {
  IoUnit& unit = *mCore->unit;
  unit.setInputHandler([this, &unit](platform::RenderActionFlags&, const platform::RenderTimeStamp& time,
                                     std::uint32_t frames, std::int32_t) {
    if (Tap* const tap = mActiveTap) tap->capture(unit.captured(), frames, time);
  });
}

StreamFormat HostInputNode::inputFormat(std::uint32_t bus) const {
  checkBus(bus);
  return mCore->unit->clientInput();
}

void HostInputNode::installTap(std::uint32_t bus, std::uint32_t frames, const StreamFormat& format,
                               platform::TapFunction function) {
  constexpr std::uint32_t maxFrames = 65536;
  if (frames < 1 || frames > maxFrames) {
    throw PlatformException("GraphException",
                            "a tap has buffers of 1 to 65536 frames, not of " + std::to_string(frames));
  }
  if (format != inputFormat(bus) || format.channelCount() == 0 || !function) {
    throw PlatformException("GraphException", "a tap needs a function and the format of an input that exists");
  }
  removeTap(bus);
  IoUnit& unit = *mCore->unit;
  if (unit.isRunning()) {
    if (auto failure = unit.useInput(true)) mCore->refuse(*std::move(failure), "InputNode::installTap");
  }
  mCore->failures.forgetOfTap();
  mTap = std::make_unique<Tap>(mCore, format, frames, std::move(function));
  mActiveTap = mTap.get();
}

void HostInputNode::removeTap(std::uint32_t bus) {
  checkBus(bus);
  if (!mTap) return;
  mActiveTap = nullptr;
  // After this the device callback does not use the tap. Giving up a side is never refused.
  if (mCore->unit->isRunning()) mCore->unit->useInput(false);
  const bool hadEnded = mTap->failure().has_value();
  mTap->finishRun();
  if (!hadEnded && mTap->failure()) mCore->failures.detachFromTap();
  mTap.reset();
}

void HostInputNode::finishRun() {
  if (mTap) mTap->finishRun();
}

}  // namespace orvane::host
