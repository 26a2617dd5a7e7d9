#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/host/AlignedSamples.h"
#include "platform/host/AudioDevice.h"
#include "platform/host/SoundFileWriter.h"
#include "platform/simulated/Microphone.h"
#include "platform/simulated/SimulatedOptions.h"

namespace orvane::simulated {

/// An audio device in the process. A worker plays the part of the hardware: slice after slice, each due when its last
/// frame would have been captured, counted from the start so that there is no drift.
class SimulatedDevice final : public host::AudioDevice {
 public:
  /// Throws `platform::PlatformException` where the options contradict the microphone.
  SimulatedDevice(const SimulatedOptions& options, host::SoundFileWriter::Services services);
  ~SimulatedDevice() override;

  std::string hostName() const override { return "simulated"; }
  host::DeviceFormat format() const override { return mFormat; }
  platform::Status start(host::DeviceCallback& callback) override;
  void stop() override;
  bool isRunning() const override { return mRunning; }
  platform::RunCount runCount() const override { return {.frames = mFrames, .discontinuities = 0}; }
  platform::DeviceEnd end() const override { return mEnd; }
  std::optional<platform::Failure> failure() const override { return std::nullopt; }
  void endAfterFrames(std::uint64_t frames) override { mFrameLimit = frames; }
  void onEnd(std::function<void()> notice) override;

 private:
  platform::Status openSpeaker();
  void scheduleSlice();
  void runSlice();
  std::uint32_t capture();
  void callBack(std::uint32_t frames);
  void endBy(platform::DeviceEnd end);
  void giveNotice();
  platform::HostTime durationOf(std::uint64_t frames) const;

  host::SoundFileWriter::Services mServices;
  std::unique_ptr<Microphone> mMicrophone;
  host::DeviceFormat mFormat;
  std::string mSpeakerPath;
  std::unique_ptr<host::SoundFileWriter> mSpeaker;
  host::AlignedSamples mInputs;
  host::AlignedSamples mOutputs;

  host::DeviceCallback* mCallback = nullptr;
  platform::HostTime mStartTime{};  ///< Of this start.
  std::uint64_t mFramesBeforeStart = 0;

  std::atomic<bool> mRunning = false;
  std::atomic<std::uint64_t> mFrames = 0;
  std::atomic<std::uint64_t> mFrameLimit = 0;
  std::atomic<platform::DeviceEnd> mEnd = platform::DeviceEnd::none;
  std::mutex mNoticeMutex;
  std::function<void()> mNotice;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::simulated
