#include "platform/simulated/device/SimulatedDevice.h"

#include <sndfile.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/simulated/device/SpeakerFile.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

namespace {

using platform::DeviceEnd;

constexpr std::uint32_t defaultRate = 48000;
constexpr std::uint32_t defaultInputs = 1;
constexpr std::uint32_t defaultOutputs = 2;
constexpr std::uint32_t defaultSlice = 256;

/// The setting's value where given, which must then be the file's.
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

host::DeviceFormat deviceFormat(const DeviceSettings& settings, const Microphone& microphone) {
  host::DeviceFormat format;
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

/// The path of the speaker's file; empty where the speaker is none.
std::string speakerPath(const DeviceSettings& settings, std::uint32_t outputs) {
  if (!settings.speaker || !isSpeakerFile(settings.speaker->value)) return {};
  if (outputs == 0) refuse(settings.speaker->where, "a device with outputs=0 has no speaker");
  checkSpeakerFile(*settings.speaker);
  if (settings.microphone) keepFromSpeaker(settings.microphone->value, "the microphone's file", *settings.speaker);
  return settings.speaker->value;
}

std::vector<Fault> discontinuities(const std::vector<Fault>& faults) {
  std::vector<Fault> result;
  std::ranges::copy_if(faults, std::back_inserter(result),
                       [](const Fault& fault) { return fault.kind == Fault::Kind::discontinuity; });
  return result;
}

}  // namespace

SimulatedDevice::SimulatedDevice(const DeviceSettings& settings, host::SoundFileWriter::Services services,
                                 std::shared_ptr<FaultPlan> faults)
    : mServices(std::move(services)),
      mFaults(std::move(faults)),
      mMicrophone(makeMicrophone(settings.microphone.value_or(Given<std::string>{"silence", ""}))),
      mFormat(deviceFormat(settings, *mMicrophone)),
      mSpeakerPath(speakerPath(settings, mFormat.outputs)),
      mInputs(mFormat.inputs, mFormat.sliceFrames),
      mOutputs(mFormat.outputs, mFormat.sliceFrames),
      mDiscontinuities(discontinuities(mFaults->faults())),
      mWorker(mServices.scheduler->makeWorker("audio device", platform::Scheduler::Priority::realTime)) {
  mMicrophone->prepare(static_cast<std::uint32_t>(mFormat.sampleRate), mFormat.outputs);
}

SimulatedDevice::~SimulatedDevice() {
  stop();
}

platform::RunCount SimulatedDevice::runCount() const {
  return {.frames = mFrames, .discontinuities = mDiscontinuitiesDone};
}

platform::Status SimulatedDevice::start(host::DeviceCallback& callback) {
  if (mRunning) return platform::status::wrongState;
  if (mFormat.sampleRate <= 0) return platform::status::noDevice;
  mFaults->deviceStarts();
  if (auto lost = failure()) {
    const platform::Status status = lost->status;
    callback.deviceEnded(DeviceEnd::failed, std::move(lost));
    return status;
  }
  if (const platform::Status opened = openSpeaker(); opened != platform::status::success) return opened;
  mCallback = &callback;
  mStartTime = mServices.scheduler->clock().now();
  mPositionAtStart = position();
  mRunning = true;
  scheduleFaults();
  mWorker->repeatAt(nextSliceTime(), [this] { return runSlice(); });
  return platform::status::success;
}

platform::Status SimulatedDevice::openSpeaker() {
  if (mSpeakerPath.empty() || mSpeaker) return platform::status::success;
  const host::SoundFileFormat file{
      .libraryFormat = SF_FORMAT_WAV | SF_FORMAT_FLOAT, .sampleRate = mFormat.sampleRate, .channels = mFormat.outputs};
  platform::Failure failure;
  mSpeaker = host::SoundFileWriter::create(mSpeakerPath, file, mFormat.sliceFrames, mServices, failure);
  if (!mSpeaker)
    mServices.log->write(platform::LogLevel::error, "The speaker's file cannot be written: " + failure.reason);
  return failure.status;
}

void SimulatedDevice::stop() {
  mRunning = false;
  mWorker->cancel();
  if (mSpeaker) mSpeaker->flush();
}

platform::HostTime SimulatedDevice::durationOf(std::uint64_t frames) const {
  // Whole seconds apart from the rest, so that no run is long enough to overflow or to lose a nanosecond.
  const auto rate = static_cast<std::uint64_t>(mFormat.sampleRate);
  const std::uint64_t nanoseconds = frames % rate * 1'000'000'000 / rate;
  return std::chrono::seconds(frames / rate) + platform::HostTime(nanoseconds);
}

/// Faults that end the run do so at their time, not at the end of a slice that may be long.
void SimulatedDevice::scheduleFaults() {
  for (const Fault& fault : mFaults->faults()) {
    const bool ends = fault.kind == Fault::Kind::deviceLost || fault.kind == Fault::Kind::serverLost ||
                      fault.kind == Fault::Kind::microphoneUnplugged;
    if (ends && !mFaults->isInForce(fault)) mWorker->postAt(mFaults->dueTime(fault), [this] { endByFault(); });
  }
}

platform::HostTime SimulatedDevice::nextSliceTime() const {
  return mStartTime + durationOf(position() - mPositionAtStart + mFormat.sliceFrames);
}

/// Gives the time of the next slice, or nothing where the run is over.
std::optional<platform::HostTime> SimulatedDevice::runSlice() {
  if (!mRunning || endByFault() || mFaults->isInForce(Fault::Kind::stalled)) return std::nullopt;
  if (loseFrames()) return nextSliceTime();
  const std::uint32_t frames = capture();
  if (frames > 0) callBack(frames);
  const std::uint64_t limit = mFrameLimit;
  if (limit > 0 && mFrames >= limit) {
    endBy(DeviceEnd::frameLimit, {});
    return std::nullopt;
  }
  if (limit == 0 && mMicrophone->atEnd()) {
    endBy(DeviceEnd::inputEnded, {});
    return std::nullopt;
  }
  return nextSliceTime();
}

/// Why the device can neither start nor go on: by the first fault of those in force.
std::optional<platform::Failure> SimulatedDevice::failure() const {
  for (const Fault& fault : mFaults->faults()) {
    if (!mFaults->isInForce(fault)) continue;
    if (fault.kind == Fault::Kind::deviceLost) {
      return platform::Failure{platform::status::deviceLost, "the device was lost"};
    }
    if (fault.kind == Fault::Kind::serverLost) {
      return platform::Failure{platform::status::serverLost, "the sound server was lost"};
    }
    if (fault.kind == Fault::Kind::microphoneUnplugged && mInputTaken) {
      return platform::Failure{platform::status::deviceLost, "the microphone was unplugged"};
    }
  }
  return std::nullopt;
}

/// Ends the run where a fault does; false where the device goes on.
bool SimulatedDevice::endByFault() {
  if (!mRunning) return true;
  if (auto lost = failure()) {
    endBy(DeviceEnd::failed, std::move(lost));
    return true;
  }
  if (mFaults->isInForce(Fault::Kind::microphoneUnplugged) && !std::exchange(mSilenceSaid, true)) {
    mServices.log->write(platform::LogLevel::warning, "The microphone was unplugged: the input is silent");
  }
  return false;
}

/// Lets the frames of the discontinuity that is due pass by; false where none is.
bool SimulatedDevice::loseFrames() {
  const std::size_t done = mDiscontinuitiesDone;
  if (done == mDiscontinuities.size() || !mFaults->isInForce(mDiscontinuities[done])) return false;
  const std::uint32_t missing = mDiscontinuities[done].frames;
  // Said first: to hear so many frames pass may take long by itself.
  mCallback->deviceInterrupted(mStartTime + durationOf(position() + missing - mPositionAtStart));
  for (std::uint32_t passed = 0; passed < missing && mRunning;) {
    const std::uint32_t wanted = std::min(missing - passed, mFormat.sliceFrames);
    if (mMicrophone->read(mInputs.planes(), wanted) < wanted) break;
    passed += wanted;
  }
  mMissing += missing;
  ++mDiscontinuitiesDone;
  mServices.log->write(platform::LogLevel::warning,
                       "The device was interrupted: " + std::to_string(missing) + " frames are missing");
  return true;
}

/// Reads one slice's input and returns its length: shorter or zero where the microphone is at its end. A run that is
/// bounded by a number of frames goes on with silence instead, and so does one without a microphone.
std::uint32_t SimulatedDevice::capture() {
  if (mFrameLimit > 0 && mFrames >= mFrameLimit) return 0;
  const bool unplugged = mFaults->isInForce(Fault::Kind::microphoneUnplugged);
  const std::uint32_t captured = unplugged ? 0 : mMicrophone->read(mInputs.planes(), mFormat.sliceFrames);
  if (captured == mFormat.sliceFrames || (mFrameLimit == 0 && !unplugged)) return captured;
  for (float* plane : mInputs.planes()) std::fill(plane + captured, plane + mFormat.sliceFrames, 0.0F);
  return mFormat.sliceFrames;
}

void SimulatedDevice::callBack(std::uint32_t frames) {
  const host::AlignedSamples& inputs = mInputs;
  const host::AlignedSamples& outputs = mOutputs;
  mCallback->deviceSlice({.time = mStartTime + durationOf(position() - mPositionAtStart),
                          .firstFrame = position(),
                          .frames = frames,
                          .inputs = inputs.planes(),
                          .outputs = mOutputs.planes()});
  mFrames = mFrames + frames;  // Written here only, so nothing has to be locked for it.
  mMicrophone->hear(outputs.planes(), frames);
  if (mSpeaker) mSpeaker->push(outputs.planes(), frames);
}

void SimulatedDevice::endBy(DeviceEnd end, std::optional<platform::Failure> failure) {
  // Told before it shows, so that the end of this run cannot be taken for that of one that is started meanwhile.
  mCallback->deviceEnded(end, std::move(failure));
  mRunning = false;
}

}  // namespace orvane::simulated
