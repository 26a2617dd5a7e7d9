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

/// The only user of a host's audio device. Passes input to each client and mixes their output, in order of
/// registration; counts frames and ends the run after exactly the limit. The device runs while there is a client, until
/// the run ends.
///
/// The list of clients is published to the callback without a lock: the old list is kept until no callback reads it (a
/// hazard pointer). Thread-safe; not real-time safe except `deviceStarts`. `add` and `remove` end the process with a
/// message on the device callback, and inside a worker's task while the device is running.
class AudioHub final : private backend::DeviceCallback {
 public:
  /// `device` may be null if the host has none.
  AudioHub(std::shared_ptr<HostContext> context, std::unique_ptr<backend::AudioDevice> device);
  /// Stops the device.
  ~AudioHub() override;

  bool hasDevice() const { return mDevice != nullptr; }
  /// Returns the format in which the device is running or would be started; all 0 without a device.
  backend::DeviceFormat format() const;
  /// Returns the reason if it is known that the device cannot be started; `noDevice` without a device. If the device
  /// itself is unavailable, the run has failed and its end is announced.
  std::optional<platform::Failure> checkAvailable();

  /// Registers a client and starts the device if it is not running. Returns nothing on success, otherwise the reason
  /// why the client is not registered.
  std::optional<platform::Failure> add(HubClient& client);
  /// Removes a client; stops the device before removing the last one. The client is not called after this has returned.
  /// Ignores an unknown client.
  void remove(HubClient& client);
  /// Removes a client from inside a task: returns immediately, and calls `done` on the hub's worker when the client is
  /// no longer called, or if it is unknown. If the hub is destroyed first, `done` is dropped.
  void removeSoon(HubClient& client, std::function<void()> done);
  /// Stops the device permanently, because the host is being destroyed. Allowed in a worker's task.
  void shutDown();

  /// See `platform::RunControl::endAfterFrames`.
  void endAfterFrames(std::uint64_t frames) { mFrameLimit = frames; }
  /// Returns the counts of the run, except overruns, which `FileRecord` counts.
  platform::RunCount runCount() const;
  /// Returns the number of successful starts of the device. Real-time safe.
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
  std::atomic<const char*> mClientFailure = nullptr;  ///< The reason with which a client ended the run.
};

}  // namespace orvane::host
