#include "platform/simulated/SimulatedDevice.h"

#include <sndfile.h>

#include <algorithm>
#include <utility>

#include "platform/PlatformException.h"

namespace orvane::simulated {

namespace {

using platform::DeviceEnd;

constexpr std::uint32_t defaultRate = 48000;
constexpr std::uint32_t defaultInputs = 1;

/// The option's value where given, which must then be the file's.
std::uint32_t agreed(const std::optional<std::uint32_t>& option, std::uint32_t files, const char* key) {
  if (option && *option != files) {
    throw platform::PlatformException(
        "SimulationException", std::string("--simulate: ") + key + "=" + std::to_string(*option) +
                                   ": the microphone's file has " + std::to_string(files) + "; leave the key out");
  }
  return files;
}

host::DeviceFormat deviceFormat(const SimulatedOptions& options, const Microphone& microphone) {
  host::DeviceFormat format;
  format.outputs = options.outputs;
  format.sliceFrames = options.slice;
  if (const auto fixed = microphone.format()) {
    format.sampleRate = agreed(options.rate, fixed->rate, "rate");
    format.inputs = agreed(options.inputs, fixed->channels, "inputs");
  } else {
    format.sampleRate = options.rate.value_or(defaultRate);
    format.inputs = options.inputs.value_or(defaultInputs);
  }
  return format;
}

}  // namespace

SimulatedDevice::SimulatedDevice(const SimulatedOptions& options, host::SoundFileWriter::Services services)
    : mServices(std::move(services)),
      mMicrophone(makeMicrophone(options.microphone)),
      mFormat(deviceFormat(options, *mMicrophone)),
      mSpeakerPath(options.speaker == "null" ? "" : options.speaker),
      mInputs(mFormat.inputs, mFormat.sliceFrames),
      mOutputs(mFormat.outputs, mFormat.sliceFrames),
      mWorker(mServices.scheduler->makeWorker("audio device", platform::Scheduler::Priority::realTime)) {
  mMicrophone->prepare(static_cast<std::uint32_t>(mFormat.sampleRate), mFormat.outputs);
  if (!mSpeakerPath.empty() && mFormat.outputs == 0) {
    throw platform::PlatformException(
        "SimulationException", "--simulate: speaker=" + mSpeakerPath + ": a device with outputs=0 has no speaker");
  }
}

SimulatedDevice::~SimulatedDevice() {
  stop();
}

platform::Status SimulatedDevice::start(host::DeviceCallback& callback) {
  if (mRunning) return platform::status::wrongState;
  if (mFormat.sampleRate <= 0) return platform::status::noDevice;
  if (const platform::Status opened = openSpeaker(); opened != platform::status::success) return opened;
  mCallback = &callback;
  mStartTime = mServices.scheduler->clock().now();
  mFramesBeforeStart = mFrames;
  mEnd = DeviceEnd::none;
  mRunning = true;
  scheduleSlice();
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

void SimulatedDevice::onEnd(std::function<void()> notice) {
  {
    const std::lock_guard lock(mNoticeMutex);
    mNotice = std::move(notice);
  }
  mWorker->post([this] { giveNotice(); });
}

platform::HostTime SimulatedDevice::durationOf(std::uint64_t frames) const {
  // Whole seconds apart from the rest, so that no run is long enough to overflow or to lose a nanosecond.
  const auto rate = static_cast<std::uint64_t>(mFormat.sampleRate);
  const std::uint64_t nanoseconds = frames % rate * 1'000'000'000 / rate;
  return std::chrono::seconds(frames / rate) + platform::HostTime(nanoseconds);
}

void SimulatedDevice::scheduleSlice() {
  const std::uint64_t sinceStart = mFrames - mFramesBeforeStart + mFormat.sliceFrames;
  mWorker->postAt(mStartTime + durationOf(sinceStart), [this] { runSlice(); });
}

void SimulatedDevice::runSlice() {
  const std::uint32_t frames = capture();
  if (frames > 0) callBack(frames);
  const std::uint64_t limit = mFrameLimit;
  if (limit > 0 && mFrames >= limit) {
    endBy(DeviceEnd::frameLimit);
  } else if (limit == 0 && mMicrophone->atEnd()) {
    endBy(DeviceEnd::inputEnded);
  } else {
    scheduleSlice();
  }
}

/// Reads one slice's input and returns its length: shorter or zero where the microphone is at its end. A run that is
/// bounded by a number of frames goes on with silence instead.
std::uint32_t SimulatedDevice::capture() {
  if (mFrameLimit > 0 && mFrames >= mFrameLimit) return 0;
  const std::uint32_t captured = mMicrophone->read(mInputs.planes(), mFormat.sliceFrames);
  if (captured == mFormat.sliceFrames || mFrameLimit == 0) return captured;
  for (float* plane : mInputs.planes()) std::fill(plane + captured, plane + mFormat.sliceFrames, 0.0F);
  return mFormat.sliceFrames;
}

void SimulatedDevice::callBack(std::uint32_t frames) {
  const host::AlignedSamples& inputs = mInputs;
  const host::AlignedSamples& outputs = mOutputs;
  mCallback->deviceSlice({.time = mStartTime + durationOf(mFrames - mFramesBeforeStart),
                          .firstFrame = mFrames,
                          .frames = frames,
                          .inputs = inputs.planes(),
                          .outputs = mOutputs.planes()});
  mFrames += frames;
  mMicrophone->hear(outputs.planes(), frames);
  if (mSpeaker) mSpeaker->push(outputs.planes(), frames);
}

void SimulatedDevice::endBy(DeviceEnd end) {
  mRunning = false;
  mEnd = end;
  giveNotice();
}

/// On the worker, so that it cannot miss an end that comes while the notice is being set.
void SimulatedDevice::giveNotice() {
  if (mEnd == DeviceEnd::none) return;
  std::function<void()> notice;
  {
    const std::lock_guard lock(mNoticeMutex);
    notice = std::exchange(mNotice, nullptr);
  }
  if (notice) notice();
}

}  // namespace orvane::simulated
