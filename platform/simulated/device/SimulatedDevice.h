#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/backend/AudioDevice.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/files/SoundFileWriter.h"
#include "platform/simulated/device/DeviceSettings.h"
#include "platform/simulated/device/Microphone.h"
#include "platform/simulated/scenario/FaultPlan.h"

namespace orvane::simulated {

/// An audio device in the process. A worker plays the part of the hardware: slice after slice, each due when its last
/// frame would have been captured, counted from the start so that there is no drift.
///
/// What its faults do:
///
/// - a lost device or server ends the run when the fault's time comes, and refuses later starts;
/// - without its microphone the device delivers silence, and ends like a lost one where somebody takes the input;
/// - a stalled device drops the slice that is due next and all after it, at a later start too;
/// - missing frames take the place of the slice that is due next: they pass by, that slice comes as much later, and its
///   time stamps have jumped.
class SimulatedDevice final : public host::AudioDevice {
 public:
  /// Throws `platform::PlatformException` where the settings contradict the microphone.
  SimulatedDevice(const DeviceSettings& settings, host::SoundFileWriter::Services services,
                  std::shared_ptr<FaultPlan> faults);
  ~SimulatedDevice() override;

  std::string hostName() const override { return "simulated"; }
  host::DeviceFormat format() const override { return mFormat; }
  platform::Status start(host::DeviceCallback& callback) override;
  void stop() override;
  bool isRunning() const override { return mRunning; }
  void useInput(bool taken) override { mInputTaken = taken; }
  platform::RunCount runCount() const override;
  void endAfterFrames(std::uint64_t frames) override { mFrameLimit = frames; }

 private:
  platform::Status openSpeaker();
  void scheduleFaults();
  std::optional<platform::HostTime> runSlice();
  platform::HostTime nextSliceTime() const;
  bool endByFault();
  bool loseFrames();
  std::uint32_t capture();
  void callBack(std::uint32_t frames);
  void endBy(platform::DeviceEnd end, std::optional<platform::Failure> failure);
  std::optional<platform::Failure> failure() const;
  platform::HostTime durationOf(std::uint64_t frames) const;
  std::uint64_t position() const { return mFrames + mMissing; }

  host::SoundFileWriter::Services mServices;
  std::shared_ptr<FaultPlan> mFaults;
  std::unique_ptr<Microphone> mMicrophone;
  host::DeviceFormat mFormat;
  std::string mSpeakerPath;
  std::unique_ptr<host::SoundFileWriter> mSpeaker;
  host::AlignedSamples mInputs;
  host::AlignedSamples mOutputs;

  host::DeviceCallback* mCallback = nullptr;
  platform::HostTime mStartTime{};  ///< Of this start.
  std::uint64_t mPositionAtStart = 0;
  std::uint64_t mMissing = 0;  ///< Frames that nobody was given.
  std::vector<Fault> mDiscontinuities;
  bool mSilenceSaid = false;

  std::atomic<bool> mRunning = false;
  std::atomic<bool> mInputTaken = false;
  std::atomic<std::uint64_t> mFrames = 0;  ///< Handed to the callback.
  std::atomic<std::uint64_t> mFrameLimit = 0;
  std::atomic<std::size_t> mDiscontinuitiesDone = 0;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::simulated
