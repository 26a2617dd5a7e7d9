// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/DeviceReport.h"
#include "platform/PlatformError.h"
#include "platform/Worker.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/files/SoundFileWriter.h"
#include "platform/simulated/device/DeviceSettings.h"
#include "platform/simulated/device/Microphone.h"
#include "platform/simulated/scenario/FaultPlan.h"
#include "platform/simulated/scenario/Scenario.h"

namespace orvane::simulated {

/// An audio device that is simulated inside the process. A worker makes one device callback per slice (block of
/// frames), at the time when the slice's last frame would have been captured. This time is computed from the start, so
/// that the device does not drift. If the worker is late by at least 500 ms and at least ten slices, as after the
/// process was stopped, the frames of that time are lost.
///
/// Effects of faults:
///
/// - a lost device or server ends the run at the time of the fault and makes later starts fail;
/// - an unplugged microphone, or a microphone's file that can no longer be read, ends the run and makes later starts
///   fail if a client uses the input; otherwise the input is silent;
/// - a stalled device makes no more callbacks, not even after a later start;
/// - a discontinuity delays the next slice by the duration of the missing frames, skips these frames of the microphone,
///   and makes the time stamps jump.
class SimulatedDevice final : public backend::AudioDevice {
 public:
  /// Creates a stopped device. Throws `platform::PlatformException` if the settings contradict the microphone's format
  /// or the speaker's file cannot be written.
  SimulatedDevice(const DeviceSettings& settings, std::shared_ptr<host::HostContext> context,
                  std::shared_ptr<FaultPlan> faults);
  ~SimulatedDevice() override;

  backend::DeviceFormat format() const override { return mFormat; }
  std::optional<platform::Failure> whyUnavailable() const override { return failure(); }
  std::optional<platform::Failure> start(backend::DeviceCallback& callback) override;
  void stop() override;
  void useSides(bool input, bool) override { mInputTaken = input; }
  std::vector<platform::AudioEndpoint> endpoints(platform::AudioSide side) const override;

 private:
  std::optional<platform::Failure> openSpeaker();
  void scheduleFaults();
  std::optional<platform::HostTime> runSlice();
  platform::HostTime nextSliceTime() const;
  bool endByFault();
  bool loseFrames();
  void resynchronise();
  void skipFrames(std::uint64_t frames, const std::string& why);
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
  platform::HostTime mStartTime{};      ///< Host time of the current start.
  std::uint64_t mPosition = 0;          ///< Frames since the first start, missing frames included.
  std::uint64_t mPositionAtStart = 0;   ///< Value of `mPosition` at the current start.
  std::uint64_t mMissing = 0;           ///< Frames lost since the last slice.
  std::vector<Fault> mDiscontinuities;  ///< Discontinuities that are still to come, the next one last.
  bool mInputOver = false;              ///< The current slice is the last.
  bool mSilenceLogged = false;
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mMicrophoneFailure;  ///< Protected by the mutex.

  std::atomic<bool> mRunning = false;
  std::atomic<bool> mInputTaken = false;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::simulated
