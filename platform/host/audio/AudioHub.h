// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/DeviceReport.h"
#include "platform/Failure.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/HubClient.h"
#include "platform/host/audio/StallWatch.h"

namespace orvane::host {

/// The one user of the audio device in a process. Hands input to each client and mixes their output, in order of
/// registration; counts frames and enforces the limit of the run to the frame. The device runs while there is a client
/// and until the run has ended.
///
/// The list of clients reaches the callback without a lock: a new list is published, and the old one lives until no
/// callback reads it (a hazard pointer). Control calls may come from any thread but the device's; inside a worker's
/// task only while the device does not run, except `removeSoon`.
class AudioHub final : private backend::DeviceCallback {
 public:
  /// `device` is null where there is none.
  AudioHub(std::shared_ptr<HostContext> context, std::unique_ptr<backend::AudioDevice> device);
  /// Stops the device.
  ~AudioHub() override;

  bool hasDevice() const { return mDevice != nullptr; }
  /// The format that the device runs in, or would be started in; zeros without a device.
  backend::DeviceFormat format() const;
  /// Returns why the device cannot be started, if that is known; the run has then failed, and subscribers are told.
  std::optional<platform::Failure> checkAvailable();

  /// Registers a client and starts the device if it does not run. Returns why the client is not registered, or nothing.
  std::optional<platform::Failure> add(HubClient& client);
  /// Takes a client out, and stops the device after the last one. Once this has returned the client is not called.
  void remove(HubClient& client);
  /// The same from a task: returns immediately, and calls `done` on the hub's worker once the client is not called any
  /// more, or if it is none. A hub that is destroyed first drops `done`.
  void removeSoon(HubClient& client, std::function<void()> done);
  /// Stops the device for good: the host goes away. Allowed in a worker's task.
  void shutDown();

  /// See `platform::RunControl::endAfterFrames`.
  void endAfterFrames(std::uint64_t frames) { mFrameLimit = frames; }
  /// Counts of the run; overruns are not the hub's to count.
  platform::RunCount runCount() const;
  /// Successful starts of the device so far. Real-time safe.
  std::uint64_t deviceStarts() const { return mDeviceStarts; }

 private:
  using Clients = std::vector<HubClient*>;
  std::uint32_t deviceSlice(const backend::DeviceSlice& slice) override;
  void deviceInterrupted(platform::HostTime until) override { mStallWatch.expectSilence(until); }
  bool inputEnded() override { return mFrameLimit > 0; }
  void deviceEnded(platform::DeviceEnd end, std::optional<platform::Failure> failure) override;
  void deviceChanged() override;

  void stopAtExit();
  std::uint32_t takePart(const backend::DeviceSlice& slice);
  bool fits(const backend::DeviceSlice& slice) const;
  void callClients(const HubSlice& slice, OutputMix& mix);
  void endOnCallback(platform::DeviceEnd end);
  void finishRun();
  void deviceStalled();
  void restart();

  bool isOver() const;
  void forbidHere(const char* what) const;
  std::optional<platform::Failure> startDevice();
  std::optional<platform::Failure> startInFormat();
  void stopDevice();
  void withControlSoon(std::function<void()> work);
  void useInputOf(const Clients& clients);
  std::unique_ptr<const Clients> publish(std::unique_ptr<const Clients> clients);
  std::unique_ptr<const Clients> without(const HubClient& client) const;
  void awaitUnread(std::unique_ptr<const Clients> old);
  void releaseSoon(std::shared_ptr<const Clients> old, std::function<void()> done);

  const std::shared_ptr<HostContext> mContext;
  const std::unique_ptr<backend::AudioDevice> mDevice;
  const std::unique_ptr<platform::Waiter> mReleased;
  const std::unique_ptr<platform::Worker> mWorker;  ///< Runs the stall watch and what follows from the callback.
  StallWatch mStallWatch;
  std::unique_ptr<platform::Trigger> mReleaseTrigger;
  std::unique_ptr<platform::Trigger> mFinishTrigger;

  std::mutex mControl;  ///< Serialises control calls; never taken on the callback.
  std::atomic<bool> mStarted = false;
  bool mIsShutDown = false;
  backend::DeviceFormat mFormat;  ///< Of the last start; the callback reads it while the device runs.
  mutable std::mutex mFormatMutex;
  std::optional<backend::DeviceFormat> mRunningFormat;  ///< The same for other threads, while the device runs.

  std::unique_ptr<const Clients> mClients;
  std::atomic<const Clients*> mPublished;
  std::atomic<const Clients*> mRead = nullptr;  ///< The list that a running callback reads.
  std::atomic<bool> mReleaseWanted = false;

  std::atomic<std::uint64_t> mDeviceStarts = 0;
  std::atomic<std::uint64_t> mFrameLimit = 0;
  std::atomic<std::uint64_t> mFrames = 0;
  std::atomic<std::uint64_t> mDiscontinuities = 0;
  std::atomic<std::uint32_t> mMaxSliceFrames = 0;
  std::uint64_t mPosition = 0;  ///< The callback's; frames so far, missing ones included.
  /// Set by the callback when the run is over for it, before `finishRun` makes it known.
  std::atomic<platform::DeviceEnd> mEndOnCallback = platform::DeviceEnd::none;
  std::atomic<const char*> mClientFailure = nullptr;  ///< Why a client ended the run.
};

}  // namespace orvane::host
