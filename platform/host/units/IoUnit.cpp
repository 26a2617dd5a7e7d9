// SPDX-License-Identifier: MIT
#include "platform/host/units/IoUnit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/Log.h"
#include "platform/NumberText.h"
#include "platform/host/CallGate.h"
#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/RateConverter.h"

namespace orvane::host {

using platform::Failure;
using platform::PlatformError;
using platform::Status;
using platform::StreamFormat;
namespace status = platform::status;

namespace {

constexpr char initializeCall[] = "UnitService::initialize";
constexpr char startCall[] = "UnitService::start";

const GatedCall setFormatCall("UnitBus::setFormat");
const GatedCall renderCall("UnitWrapper::renderOperation", GatedCall::Answer::hidden);

EdgeFormat edgeFormat(const StreamFormat& format) {
  return {format.channelCount(), format.sampleRate()};
}

std::string hertz(double rate) {
  return platform::numberText(rate) + " Hz";
}

}  // namespace

IoUnit::IoUnit(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub)
    : mContext(std::move(context)),
      mHub(std::move(hub)),
      mSession(mContext),
      mClientInput(hardwareInput()),
      mClientOutput(hardwareOutput()) {}

IoUnit::~IoUnit() {
  stop();
}

Status IoUnit::initialize() {
  return statusOf(tryInitialize(), initializeCall);
}

Status IoUnit::start() {
  return statusOf(tryStart(), startCall);
}

std::optional<Failure> IoUnit::tryInitialize() {
  auto refusal = mHub->checkAvailable();
  if (!refusal) refusal = mSession.whyNot(mHub->format(), mInputEnabled, mOutputEnabled, initializeCall);
  if (!refusal) mInitialized = true;
  return refusal;
}

std::optional<Failure> IoUnit::tryStart() {
  stop();
  mUsesInput = mInputEnabled;
  mUsesOutput = mOutputEnabled && mOutputProvider;
  auto refusal = whyNotStart();
  if (!refusal) refusal = makeEdges(mHub->format());
  if (!refusal) {
    // Set before `add`, because the device may report a format change immediately.
    mRunning = true;
    refusal = mHub->add(*this);
  }
  if (refusal) mRunning = false;
  return refusal;
}

/// Logs and stores a failure of `call`, and returns its status.
Status IoUnit::statusOf(std::optional<Failure> failure, const char* call) {
  if (!failure) return status::success;
  failure->call = call;
  return mContext->refuse(*std::move(failure));
}

std::optional<Failure> IoUnit::whyNotStart() const {
  if (!mInitialized) return Failure{status::wrongState, "the unit is not initialised"};
  const backend::DeviceFormat hardware = mHub->format();
  if (hardware.sampleRate <= 0) return Failure{status::noDevice, "the hardware reports no sample rate"};
  return mSession.whyNot(hardware, mUsesInput, mUsesOutput, startCall);
}

std::optional<Failure> IoUnit::makeEdges(const backend::DeviceFormat& hardware) {
  const std::uint64_t inputFrames = mRunning && mInput ? mInput->nextFrame() : 0;
  const std::uint64_t outputFrames = mRunning && mOutput ? mOutput->nextFrame() : 0;
  mActiveInput = nullptr;
  mActiveOutput = nullptr;
  mInput.reset();
  mOutput.reset();
  if (auto failure = addEdges(hardware, mUsesInput, mUsesOutput, inputFrames, outputFrames)) return failure;
  mEdgesFormat = hardware;
  return std::nullopt;
}

/// Creates the wanted edges that do not exist. The number of frames is the position in the run at which an edge starts.
std::optional<Failure> IoUnit::addEdges(const backend::DeviceFormat& hardware, bool input, bool output,
                                        std::uint64_t inputFrames, std::uint64_t outputFrames) {
  try {
    if (input && !mInput) {
      mInput = std::make_unique<InputEdge>(EdgeFormat{hardware.inputs, hardware.sampleRate}, edgeFormat(mClientInput),
                                           inputFrames);
    }
    if (output && !mOutput) {
      mOutput = std::make_unique<OutputEdge>(edgeFormat(mClientOutput),
                                             EdgeFormat{hardware.outputs, hardware.sampleRate}, outputFrames);
    }
  } catch (const std::bad_alloc&) {
    return Failure{status::ioFailure, "there is not enough memory to convert the unit's formats"};
  } catch (const std::runtime_error& failure) {
    return Failure{status::unsupportedFormat, failure.what()};
  }
  mInputLatency = mInput ? mInput->delayFrames() : 0;
  mOutputLatency = mOutput ? mOutput->delayFrames() : 0;
  mActiveInput.store(mInput.get(), std::memory_order_release);
  mActiveOutput.store(mOutput.get(), std::memory_order_release);
  return std::nullopt;
}

/// An edge that is no longer used stays until the next start, because the callback may be using it.
std::optional<Failure> IoUnit::useSides(bool input, bool output) {
  return mHub->change([&](const backend::DeviceFormat& hardware) -> std::optional<Failure> {
    const bool isAdded = (input && !mUsesInput) || (output && !mUsesOutput);
    if (isAdded) {
      if (auto refusal = mSession.whyNot(hardware, input, output, startCall)) return refusal;
      if (auto refusal = addEdges(hardware, input, output)) return refusal;
    }
    mUsesInput = input;
    mUsesOutput = output;
    return std::nullopt;
  });
}

std::optional<Failure> IoUnit::deviceChanged(const backend::DeviceFormat& format) {
  if (format == mEdgesFormat) return std::nullopt;
  if (auto refusal = mSession.whyNot(format, mUsesInput, mUsesOutput, startCall)) return refusal;
  for (const StreamFormat* client : {&mClientInput, &mClientOutput}) {
    if (format.sampleRate != client->sampleRate() &&
        !RateConverter::canConvert(format.sampleRate, client->sampleRate()))
      return Failure{status::unsupportedFormat, "the device changed to " + hertz(format.sampleRate) +
                                                    ", which a unit does not convert to " +
                                                    hertz(client->sampleRate())};
  }
  return makeEdges(format);
}

platform::UnitLatency IoUnit::latency() const {
  const backend::DeviceLatency device = mHub->latency();
  return {.input = mInputLatency + device.input, .output = mOutputLatency + device.output};
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

std::optional<Failure> IoUnit::whyNotFormat(const StreamFormat& format) const {
  const auto refusal = [](Status code, const std::string& reason) { return Failure{code, reason}; };
  if (mRunning) return refusal(status::wrongState, "the unit runs; stop it before setting a format");
  const std::uint32_t channels = format.channelCount();
  const double rate = format.sampleRate();
  if (!std::isfinite(rate) || rate < 0) return refusal(status::unsupportedFormat, hertz(rate) + " is no sample rate");
  if (format.description() != StreamFormat::standard(rate, channels).description()) {
    return refusal(status::unsupportedFormat,
                   "a unit takes 32-bit float linear PCM in native byte order, packed, one buffer a channel");
  }
  if (channels < 1 || channels > backend::DeviceFormat::maxChannels) {
    return refusal(status::unsupportedFormat, std::to_string(channels) + " channels; a unit takes 1 to " +
                                                  std::to_string(backend::DeviceFormat::maxChannels));
  }
  const double hardwareRate = hardwareInput().sampleRate();
  if (rate != hardwareRate && !RateConverter::canConvert(rate, hardwareRate)) {
    return refusal(status::unsupportedFormat, hertz(rate) + " asked for; the hardware runs at " + hertz(hardwareRate) +
                                                  ", and a unit converts between rates up to a factor of 256");
  }
  return std::nullopt;
}

/// Returns the error if the gate refuses the call or the format is not supported; otherwise `std::nullopt`. Records a
/// refusal as the host's last one.
std::optional<PlatformError> IoUnit::refusalOfFormat(const StreamFormat& format) {
  if (auto refusal = mContext->errorOf(setFormatCall)) return refusal;
  auto failure = whyNotFormat(format);
  if (!failure) return std::nullopt;
  failure->call = setFormatCall.name();
  return mContext->refuseWithError(*std::move(failure));
}

std::optional<PlatformError> IoUnit::setClientInput(const StreamFormat& format) {
  if (auto refusal = refusalOfFormat(format)) return refusal;
  mClientInput = format;
  return std::nullopt;
}

std::optional<PlatformError> IoUnit::setClientOutput(const StreamFormat& format) {
  if (auto refusal = refusalOfFormat(format)) return refusal;
  mClientOutput = format;
  return std::nullopt;
}

/// Calls `change`, which modifies members that the callback uses. If the unit is running, it is stopped before and
/// started again after the change, and misses the slices in between.
template <typename Change>
void IoUnit::changeWhileNotCalled(Change change) {
  const bool wasRunning = mRunning;
  stop();
  change();
  if (wasRunning && start() != status::success) {
    mContext->log->write(platform::LogLevel::error, "an I/O unit whose closure was replaced could not start again");
  }
}

void IoUnit::setInputHandler(platform::InputHandler handler) {
  changeWhileNotCalled([&] { mInputHandler = std::move(handler); });
}

void IoUnit::setOutputProvider(platform::OutputProvider provider) {
  changeWhileNotCalled([&] { mOutputProvider = std::move(provider); });
}

const char* IoUnit::deviceSlice(const HubSlice& slice, OutputMix& mix) {
  mInsideSlice = true;
  mLastTime = slice.time;
  InputEdge* const input = mActiveInput.load(std::memory_order_acquire);
  OutputEdge* const output = mActiveOutput.load(std::memory_order_acquire);
  if (input != nullptr) {
    input->accept(slice);
    if (mInputHandler) handInput(slice.time);
  }
  if (output != nullptr) output->play(mOutputProvider, slice, mix);
  mInsideSlice = false;
  const bool failed = (input != nullptr && input->failed()) || (output != nullptr && output->failed());
  return failed ? "the rate conversion of an I/O unit failed" : nullptr;
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
  if (const Refusal* refusal = mContext->gate->refusal(renderCall)) return refusal->status;
  if (!mInsideSlice || mActiveInput.load(std::memory_order_acquire) == nullptr) return status::wrongState;
  if (bus != inputBus || list.bufferCount != mInput->planes().size()) return status::badParameter;
  if (!mInputHandler && !mInput->fetch(frames)) return status::badParameter;
  if (frames > mInput->frames()) return status::badParameter;
  const auto bytes = static_cast<std::uint32_t>(frames * sizeof(float));
  for (std::size_t channel = 0; channel < mInput->planes().size(); ++channel) {
    platform::RenderBuffer& buffer = list.buffers()[channel];
    const float* samples = mInput->planes()[channel];
    if (buffer.channels != 1) return status::badParameter;
    if (buffer.data == nullptr) {
      // The caller must not write to these samples. The cast is needed because the list has only one pointer type.
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
