// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/backend/AudioDevice.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/files/SoundFileWriter.h"
#include "platform/simulated/device/DeviceSettings.h"
#include "platform/simulated/device/Microphone.h"
#include "platform/simulated/scenario/FaultPlan.h"

namespace orvane::simulated {

/// An audio device in the process. A worker plays the part of the hardware: slice after slice, each due when its last
/// frame would have been captured, counted from the start so that there is no drift. A device that runs more than half
/// a second late (ten slices, where they are longer), as after the process was stopped, loses the frames of that time.
///
/// Effects of faults:
///
/// - a lost device or server ends the run when the fault's time comes, and refuses later starts;
/// - without its microphone the device delivers silence, and ends like a lost one where a client takes the input. So it
///   does when the microphone's file cannot be read any further;
/// - a stalled device drops the slice that is due next and all after it, at a later start too;
/// - missing frames take the place of the slice that is due next: they pass by, that slice comes as much later, and its
///   time stamps have jumped.
class SimulatedDevice final : public backend::AudioDevice {
 public:
  /// Throws `platform::PlatformException` where the settings contradict the microphone.
  SimulatedDevice(const DeviceSettings& settings, std::shared_ptr<host::HostContext> context,
                  std::shared_ptr<FaultPlan> faults);
  ~SimulatedDevice() override;

  backend::DeviceFormat format() const override { return mFormat; }
  std::optional<platform::Failure> whyUnavailable() const override { return failure(); }
  std::optional<platform::Failure> start(backend::DeviceCallback& callback) override;
  void stop() override;
  void useInput(bool taken) override { mInputTaken = taken; }

 private:
  std::optional<platform::Failure> openSpeaker();
  void scheduleFaults();
  std::optional<platform::HostTime> runSlice();
  platform::HostTime nextSliceTime() const;
  bool endByFault();
  bool loseFrames();
  void resynchronise();
  void passUnheard(std::uint64_t frames, const std::string& why);
  std::uint32_t capture();
  bool endsWithInput();
  void callBack(std::uint32_t frames);
  void endBy(platform::DeviceEnd end, std::optional<platform::Failure> failure);
  std::optional<platform::Failure> failure() const;
  platform::HostTime durationOf(std::uint64_t frames) const;

  const std::shared_ptr<host::HostContext> mContext;
  const std::shared_ptr<FaultPlan> mFaults;
  std::unique_ptr<Microphone> mMicrophone;
  backend::DeviceFormat mFormat;
  std::string mSpeakerPath;
  std::unique_ptr<host::SoundFileWriter> mSpeaker;
  host::AlignedSamples mInputs;
  host::AlignedSamples mOutputs;

  // The worker's, or the caller's while the device does not run.
  backend::DeviceCallback* mCallback = nullptr;
  platform::HostTime mStartTime{};      ///< Of this start.
  std::uint64_t mPosition = 0;          ///< Frames since the first start, missing ones included.
  std::uint64_t mPositionAtStart = 0;   ///< Of this start.
  std::uint64_t mMissing = 0;           ///< Frames that were lost since the last slice.
  std::vector<Fault> mDiscontinuities;  ///< Those to come, the next one last.
  bool mInputOver = false;              ///< The slice being captured is the last.
  bool mSilenceSaid = false;
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mMicrophoneFailure;  ///< With the mutex.

  std::atomic<bool> mRunning = false;
  std::atomic<bool> mInputTaken = false;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::simulated
