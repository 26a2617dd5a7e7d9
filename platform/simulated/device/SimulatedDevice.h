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

/// An audio device in the process. A worker calls back for each slice at the time when its last frame would have been
/// captured, counted from the start so that the device does not drift. If the worker runs late by 500 ms and ten slices
/// or more, as after the process was stopped, the frames of that time are lost.
///
/// Effects of faults:
///
/// - a lost device or server ends the run at the time of the fault and refuses later starts;
/// - an unplugged microphone, or a microphone's file that cannot be read further, ends the run and refuses later starts
///   if a client uses the input; otherwise the input is silent;
/// - a stalled device drops the next slice and all after it, also after a later start;
/// - a discontinuity delays the next slice by the missing frames, which also pass in the microphone; the time stamps
///   jump.
class SimulatedDevice final : public backend::AudioDevice {
 public:
  /// Throws `platform::PlatformException` if the settings contradict the microphone or the speaker's file cannot be
  /// written.
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

  // Used by the worker while the device is running, else by the caller.
  backend::DeviceCallback* mCallback = nullptr;
  platform::HostTime mStartTime{};      ///< Of this start.
  std::uint64_t mPosition = 0;          ///< Frames since the first start, missing frames included.
  std::uint64_t mPositionAtStart = 0;   ///< Of this start.
  std::uint64_t mMissing = 0;           ///< Frames lost since the last slice.
  std::vector<Fault> mDiscontinuities;  ///< Discontinuities that are still to come, the next one last.
  bool mInputOver = false;              ///< The current slice is the last.
  bool mSilenceSaid = false;
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mMicrophoneFailure;  ///< Protected by the mutex.

  std::atomic<bool> mRunning = false;
  std::atomic<bool> mInputTaken = false;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::simulated
