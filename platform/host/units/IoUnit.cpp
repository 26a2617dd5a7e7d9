#include "platform/host/units/IoUnit.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>
#include <utility>

#include "platform/NumberText.h"
#include "platform/host/sessions/SessionPolicy.h"

namespace orvane::host {

namespace {

using platform::PlatformError;
using platform::Status;
using platform::StreamFormat;
namespace status = platform::status;

EdgeFormat edgeFormat(const StreamFormat& format) {
  return {format.channelCount(), format.sampleRate()};
}

std::string hertz(double rate) {
  return platform::numberText(rate) + " Hz";
}

}  // namespace

IoUnit::IoUnit(std::shared_ptr<AudioHub> hub, std::shared_ptr<platform::Log> log)
    : mHub(std::move(hub)), mLog(std::move(log)), mClientInput(hardwareInput()), mClientOutput(hardwareOutput()) {}

IoUnit::~IoUnit() {
  stop();
}

StreamFormat IoUnit::hardwareInput() const {
  const DeviceFormat format = mHub->device().format();
  return StreamFormat::standard(format.sampleRate, format.inputs);
}

StreamFormat IoUnit::hardwareOutput() const {
  const DeviceFormat format = mHub->device().format();
  return StreamFormat::standard(format.sampleRate, format.outputs);
}

Status IoUnit::initialize() {
  mInitialized = true;
  return status::success;
}

Status IoUnit::start() {
  if (!mInitialized) return refuse(status::wrongState, "it is not initialised");
  stop();
  if (const Status refusal = mayStart(); refusal != status::success) return refusal;
  try {
    makeEdges();
  } catch (const std::bad_alloc&) {
    return refuse(status::ioFailure, "there is not enough memory to convert its formats");
  }
  const Status started = mHub->add(*this);
  mRunning = started == status::success;
  return started;
}

void IoUnit::makeEdges() {
  mInput.reset();
  mOutput.reset();
  if (mInputEnabled) mInput = std::make_unique<InputEdge>(edgeFormat(hardwareInput()), edgeFormat(mClientInput));
  if (mOutputEnabled && mOutputProvider) {
    mOutput = std::make_unique<OutputEdge>(edgeFormat(mClientOutput), edgeFormat(hardwareOutput()));
  }
}

Status IoUnit::mayStart() const {
  if (hardwareInput().sampleRate() <= 0) return refuse(status::noDevice, "the hardware reports no sample rate");
  if (mInputEnabled) {
    if (hardwareInput().channelCount() == 0) return refuse(status::noDevice, "the hardware has no input");
    if (mSession && !categoryHasInput(mSession->category())) {
      return refuse(status::noInput, "the session's category \"" + mSession->category() + "\" has no input");
    }
  }
  if (mOutputEnabled && mOutputProvider) {
    if (hardwareOutput().channelCount() == 0) return refuse(status::noDevice, "the hardware has no output");
    if (mSession && !categoryHasOutput(mSession->category())) {
      return refuse(status::noOutput, "the session's category \"" + mSession->category() + "\" has no output");
    }
  }
  return status::success;
}

Status IoUnit::refuse(Status refusal, const std::string& reason) const {
  mLog->write(platform::LogLevel::error, "I/O unit does not start: " + reason);
  return refusal;
}

Status IoUnit::stop() {
  if (!mRunning) return status::success;
  mHub->remove(*this);
  mRunning = false;
  if (mInput && mInputHandler) {
    mInput->finish();
    mInsideSlice = true;
    handInput(mLastTime);
    mInsideSlice = false;
  }
  return status::success;
}

platform::UnitLatency IoUnit::latency() const {
  return {.input = mInput ? mInput->delayFrames() : 0, .output = mOutput ? mOutput->delayFrames() : 0};
}

std::optional<PlatformError> IoUnit::checkClientFormat(const StreamFormat& format) const {
  const auto refusal = [](Status code, const std::string& reason) {
    return PlatformError(code, "UnitBus::setFormat", reason);
  };
  if (mRunning) return refusal(status::wrongState, "the unit runs; stop it before setting a format");
  const std::uint32_t channels = format.channelCount();
  const double rate = format.sampleRate();
  if (!std::isfinite(rate) || rate < 0) return refusal(status::unsupportedFormat, hertz(rate) + " is no sample rate");
  if (format.description() != StreamFormat::standard(rate, channels).description()) {
    return refusal(status::unsupportedFormat,
                   "a unit takes 32-bit float linear PCM in native byte order, packed, one buffer a channel");
  }
  if (channels < 1 || channels > DeviceFormat::mostChannels) {
    return refusal(status::unsupportedFormat, std::to_string(channels) + " channels; a unit takes 1 to " +
                                                  std::to_string(DeviceFormat::mostChannels));
  }
  const double hardwareRate = hardwareInput().sampleRate();
  if (rate != hardwareRate && !RateConverter::canConvert(rate, hardwareRate)) {
    return refusal(status::unsupportedFormat, hertz(rate) + " asked for; the hardware runs at " + hertz(hardwareRate) +
                                                  ", and a unit converts between rates up to a factor of 256");
  }
  return std::nullopt;
}

std::optional<PlatformError> IoUnit::setClientInput(const StreamFormat& format) {
  if (auto refusal = checkClientFormat(format)) return refusal;
  mClientInput = format;
  return std::nullopt;
}

std::optional<PlatformError> IoUnit::setClientOutput(const StreamFormat& format) {
  if (auto refusal = checkClientFormat(format)) return refusal;
  mClientOutput = format;
  return std::nullopt;
}

/// Replaces something that the callback uses. A running unit leaves the hub for that moment and misses its slices.
template <typename Change>
void IoUnit::changeWhileNotCalled(Change change) {
  const bool wasRunning = mRunning;
  stop();
  change();
  if (wasRunning && start() != status::success) {
    mLog->write(platform::LogLevel::error, "An I/O unit whose closure was replaced could not start again");
  }
}

void IoUnit::setInputHandler(platform::InputHandler handler) {
  changeWhileNotCalled([&] { mInputHandler = std::move(handler); });
}

void IoUnit::setOutputProvider(platform::OutputProvider provider) {
  changeWhileNotCalled([&] { mOutputProvider = std::move(provider); });
}

void IoUnit::deviceSlice(const DeviceSlice& slice, OutputMix& mix) {
  mInsideSlice = true;
  mLastTime = slice.time;
  if (mInput) {
    mInput->accept(slice);
    if (mInputHandler) handInput(slice.time);
  }
  if (mOutput) mOutput->play(mOutputProvider, slice, mix);
  mInsideSlice = false;
}

void IoUnit::handInput(platform::HostTime time) {
  while (mInput->next()) {
    platform::RenderActionFlags flags = 0;
    const platform::RenderTimeStamp stamp{.sampleTime = static_cast<double>(mInput->firstFrame()),
                                          .hostTime = static_cast<std::uint64_t>(time.count())};
    mInputHandler(flags, stamp, mInput->frames(), inputBus);
  }
}

Status IoUnit::render(std::uint32_t frames, std::int32_t bus, platform::RenderBufferList& list) {
  if (!mInsideSlice || !mInput) return status::wrongState;
  if (bus != inputBus || list.bufferCount != mInput->planes().size()) return status::badParameter;
  if (!mInputHandler && !mInput->fetch(frames)) return status::badParameter;
  if (frames > mInput->frames()) return status::badParameter;
  const auto bytes = static_cast<std::uint32_t>(frames * sizeof(float));
  for (std::size_t channel = 0; channel < mInput->planes().size(); ++channel) {
    platform::RenderBuffer& buffer = list.buffers()[channel];
    const float* samples = mInput->planes()[channel];
    if (buffer.channels != 1) return status::badParameter;
    if (buffer.data == nullptr) {
      // The caller reads it and must not write; the list has one kind of address for both.
      buffer.data = const_cast<float*>(samples);
    } else if (buffer.byteSize >= bytes) {
      std::copy_n(samples, frames, static_cast<float*>(buffer.data));
    } else {
      return status::badParameter;
    }
    buffer.byteSize = bytes;
  }
  return status::success;
}

}  // namespace orvane::host
