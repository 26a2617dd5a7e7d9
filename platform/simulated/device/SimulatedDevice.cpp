// SPDX-License-Identifier: MIT
#include "platform/simulated/device/SimulatedDevice.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "platform/host/files/WaveFile.h"
#include "platform/simulated/device/SpeakerFile.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

using namespace std::chrono_literals;
using platform::DeviceEnd;
using platform::Failure;
using platform::HostTime;
namespace status = platform::status;

namespace {

constexpr std::uint32_t defaultRate = 48000;
constexpr std::uint32_t defaultInputs = 1;
constexpr std::uint32_t defaultOutputs = 2;
constexpr std::uint32_t defaultSlice = 256;

/// Returns the value of the microphone's file. Throws if a different value was given as a setting.
std::uint32_t agreed(const DeviceSettings::MaybeGiven<std::uint32_t>& setting, std::uint32_t files) {
  if (setting && setting->value != files) {
    refuse(setting->where, "the microphone's file has " + std::to_string(files) + "; leave the key out");
  }
  return files;
}

template <typename Kind>
Kind valueOr(const std::optional<Given<Kind>>& setting, Kind otherwise) {
  return setting ? setting->value : otherwise;
}

backend::DeviceFormat deviceFormat(const DeviceSettings& settings, const Microphone& microphone) {
  backend::DeviceFormat format;
  format.outputs = valueOr(settings.outputs, defaultOutputs);
  format.sliceFrames = valueOr(settings.slice, defaultSlice);
  if (const auto fixed = microphone.format()) {
    format.sampleRate = agreed(settings.rate, fixed->rate);
    format.inputs = agreed(settings.inputs, fixed->channels);
  } else {
    format.sampleRate = valueOr(settings.rate, defaultRate);
    format.inputs = valueOr(settings.inputs, defaultInputs);
  }
  return format;
}

/// Returns the path of the speaker's file, or an empty text if the speaker is not a file.
std::string speakerPath(const DeviceSettings& settings, std::uint32_t outputs) {
  if (!settings.speaker || !isSpeakerFile(settings.speaker->value)) return {};
  if (outputs == 0) refuse(settings.speaker->where, "a device with outputs=0 has no speaker");
  checkSpeakerFile(*settings.speaker);
  return settings.speaker->value;
}

/// Returns the faults that are discontinuities, in reverse order.
std::vector<Fault> discontinuities(const std::vector<Fault>& faults) {
  std::vector<Fault> result;
  std::ranges::copy_if(faults, std::back_inserter(result),
                       [](const Fault& fault) { return fault.kind == Fault::Kind::discontinuity; });
  std::ranges::reverse(result);
  return result;
}

}  // namespace

SimulatedDevice::SimulatedDevice(const DeviceSettings& settings, std::shared_ptr<host::HostContext> context,
                                 std::shared_ptr<FaultPlan> faults)
    : mContext(std::move(context)),
      mFaults(std::move(faults)),
      mMicrophone(makeMicrophone(settings.microphone.value_or(Given<std::string>{"silence", ""}))),
      mFormat(deviceFormat(settings, *mMicrophone)),
      mSpeakerPath(speakerPath(settings, mFormat.outputs)),
      mInputs(mFormat.inputs, mFormat.sliceFrames),
      mOutputs(mFormat.outputs, mFormat.sliceFrames),
      mDiscontinuities(discontinuities(mFaults->faults())),
      mWorker(mContext->scheduler->makeWorker("audio device", platform::Scheduler::Priority::realTime)) {
  mMicrophone->prepare(static_cast<std::uint32_t>(mFormat.sampleRate), mFormat.outputs);
}

SimulatedDevice::~SimulatedDevice() {
  stop();
}

std::vector<platform::AudioEndpoint> SimulatedDevice::endpoints(platform::AudioSide side) const {
  const bool isInput = side == platform::AudioSide::input;
  const std::uint32_t channels = isInput ? mFormat.inputs : mFormat.outputs;
  if (channels == 0) return {};
  return {{.name = isInput ? "microphone" : "speaker",
           .description = isInput ? "Simulated microphone" : "Simulated speaker",
           .channelCount = channels,
           .sampleRate = mFormat.sampleRate,
           .isDefault = true}};
}

std::optional<Failure> SimulatedDevice::start(backend::DeviceCallback& callback) {
  if (mFormat.sampleRate <= 0) return Failure{status::noDevice, "the hardware reports no sample rate"};
  mFaults->deviceStarts();
  if (auto lost = failure()) {
    callback.deviceEnded(DeviceEnd::failed, lost);
    return lost;
  }
  if (auto refusal = openSpeaker()) return refusal;
  mCallback = &callback;
  mStartTime = mContext->scheduler->clock().now();
  mPositionAtStart = mPosition;
  mInputOver = false;
  mRunning = true;
  scheduleFaults();
  mWorker->repeatAt(nextSliceTime(), [this] { return runSlice(); });
  return std::nullopt;
}

std::optional<Failure> SimulatedDevice::openSpeaker() {
  if (mSpeakerPath.empty() || mSpeaker) return std::nullopt;
  const auto failed = [](Failure failure) {
    failure.reason = "the speaker's file cannot be written: " + failure.reason;
    return failure;
  };
  auto container =
      host::WaveFile::make(mSpeakerPath, host::WaveFile::Encoding::float32, {mFormat.sampleRate, mFormat.outputs});
  if (!container) return failed(container.failure());
  auto speaker = host::SoundFileWriter::create({.path = mSpeakerPath, .maxFrames = mFormat.sliceFrames},
                                               std::move(*container), mContext);
  if (!speaker) return failed(speaker.failure());
  mSpeaker = std::move(*speaker);
  return std::nullopt;
}

void SimulatedDevice::stop() {
  mRunning = false;
  mWorker->cancel();
  if (mSpeaker) mSpeaker->flush();
}

HostTime SimulatedDevice::durationOf(std::uint64_t frames) const {
  // Whole seconds are converted separately, so that the computation neither overflows nor loses precision in long runs.
  const auto rate = static_cast<std::uint64_t>(mFormat.sampleRate);
  const std::uint64_t nanoseconds = frames % rate * 1'000'000'000 / rate;
  return std::chrono::seconds(frames / rate) + HostTime(nanoseconds);
}

/// Schedules tasks for the faults that end the run, so that they act at their exact time and not at the end of a
/// possibly long slice.
void SimulatedDevice::scheduleFaults() {
  for (const Fault& fault : mFaults->faults()) {
    const bool ends = fault.kind == Fault::Kind::deviceLost || fault.kind == Fault::Kind::serverLost ||
                      fault.kind == Fault::Kind::microphoneUnplugged;
    if (ends && !mFaults->isInForce(fault)) mWorker->postAt(mFaults->dueTime(fault), [this] { endByFault(); });
  }
}

HostTime SimulatedDevice::nextSliceTime() const {
  return mStartTime + durationOf(mPosition - mPositionAtStart + mFormat.sliceFrames);
}

/// Delivers one slice to the callback. Returns the time of the next slice, or `std::nullopt` if the run is over.
std::optional<HostTime> SimulatedDevice::runSlice() {
  if (!mRunning || endByFault() || mFaults->isInForce(Fault::Kind::stalled)) return std::nullopt;
  resynchronise();
  if (loseFrames()) return nextSliceTime();
  const std::uint32_t frames = capture();
  if (frames > 0) callBack(frames);
  if (mInputOver) {
    auto lost = failure();
    endBy(lost ? DeviceEnd::failed : DeviceEnd::inputEnded, std::move(lost));
    return std::nullopt;
  }
  return nextSliceTime();
}

/// Returns why the device can neither start nor continue, according to the first fault in force; `std::nullopt` if it
/// can.
std::optional<Failure> SimulatedDevice::failure() const {
  for (const Fault& fault : mFaults->faults()) {
    if (!mFaults->isInForce(fault)) continue;
    if (fault.kind == Fault::Kind::deviceLost) return Failure{status::deviceLost, "the device was lost"};
    if (fault.kind == Fault::Kind::serverLost) return Failure{status::serverLost, "the sound server was lost"};
    if (fault.kind == Fault::Kind::microphoneUnplugged && mInputTaken) {
      return Failure{status::deviceLost, "the microphone was unplugged"};
    }
  }
  const std::lock_guard lock(mMutex);
  return mInputTaken ? mMicrophoneFailure : std::nullopt;
}

/// Ends the run if a fault requires it. Returns true if the run is over, false if the device continues.
bool SimulatedDevice::endByFault() {
  if (!mRunning) return true;
  if (auto lost = failure()) {
    endBy(DeviceEnd::failed, std::move(lost));
    return true;
  }
  if (mFaults->isInForce(Fault::Kind::microphoneUnplugged) && !std::exchange(mSilenceLogged, true)) {
    mContext->log->write(platform::LogLevel::warning, "the microphone was unplugged: the input is silent");
  }
  return false;
}

/// Skips the frames of a discontinuity that is due. Returns false if no discontinuity is due.
bool SimulatedDevice::loseFrames() {
  if (mDiscontinuities.empty() || !mFaults->isInForce(mDiscontinuities.back())) return false;
  skipFrames(mDiscontinuities.back().frames, "the device was interrupted");
  mDiscontinuities.pop_back();
  return true;
}

/// Drops the missed frames if the device is very late. After small delays it catches up instead, like hardware with a
/// buffer.
void SimulatedDevice::resynchronise() {
  const HostTime late = mContext->scheduler->clock().now() - nextSliceTime();
  if (late < std::max<HostTime>(500ms, durationOf(std::uint64_t{10} * mFormat.sliceFrames))) return;
  const std::chrono::duration<double> seconds = late;
  skipFrames(static_cast<std::uint64_t>(seconds.count() * mFormat.sampleRate),
             "the device ran " + std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(late).count()) +
                 " ms late");
}

void SimulatedDevice::skipFrames(std::uint64_t frames, const std::string& why) {
  // The interruption is reported first, because reading many frames may take long.
  mCallback->deviceInterrupted(mStartTime + durationOf(mPosition + frames - mPositionAtStart));
  for (std::uint64_t passed = 0; passed < frames && mRunning;) {
    const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames - passed, mFormat.sliceFrames));
    if (mMicrophone->read(mInputs.planes(), wanted) < wanted) break;
    passed += wanted;
  }
  mMissing += frames;
  mPosition += frames;
  mContext->log->write(platform::LogLevel::warning, why + ": " + std::to_string(frames) + " frames are missing");
}

/// Reads the input of one slice and returns the slice's length in frames. If the microphone's input ends and the run
/// ends with it, the last slice is shorter or has 0 frames. If the run continues, or the microphone is unplugged, the
/// rest of the slice is filled with silence.
std::uint32_t SimulatedDevice::capture() {
  const bool unplugged = mFaults->isInForce(Fault::Kind::microphoneUnplugged);
  const std::uint32_t captured = unplugged ? 0 : mMicrophone->read(mInputs.planes(), mFormat.sliceFrames);
  if (!unplugged && mMicrophone->atEnd() && endsWithInput()) {
    mInputOver = true;
    return captured;
  }
  for (float* plane : mInputs.planes()) std::fill(plane + captured, plane + mFormat.sliceFrames, 0.0F);
  return mFormat.sliceFrames;
}

/// Called when the microphone's input has ended. Returns whether the run must end too.
bool SimulatedDevice::endsWithInput() {
  auto failed = mMicrophone->failure();
  if (!failed) return !mCallback->inputEnded();
  const std::lock_guard lock(mMutex);
  if (!mMicrophoneFailure && !mInputTaken) {
    mContext->log->write(platform::LogLevel::warning, failed->reason + ": the input is silent");
  }
  mMicrophoneFailure = std::move(failed);
  return mInputTaken;
}

void SimulatedDevice::callBack(std::uint32_t frames) {
  const host::AlignedSamples& inputs = mInputs;
  const host::AlignedSamples& outputs = mOutputs;
  const std::uint32_t taken = mCallback->deviceSlice({.time = mStartTime + durationOf(mPosition - mPositionAtStart),
                                                      .missingFrames = std::exchange(mMissing, 0),
                                                      .frames = frames,
                                                      .inputs = inputs.planes(),
                                                      .outputs = mOutputs.planes()});
  mPosition += frames;
  mMicrophone->receiveOutput(outputs.planes(), frames);
  if (mSpeaker && taken > 0) mSpeaker->push(outputs.planes(), taken);
}

void SimulatedDevice::endBy(DeviceEnd end, std::optional<Failure> failure) {
  // The end is reported before `mRunning` changes, so that it cannot be mistaken for the end of a later run.
  mCallback->deviceEnded(end, std::move(failure));
  mRunning = false;
}

}  // namespace orvane::simulated
