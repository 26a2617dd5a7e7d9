// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/Clock.h"
#include "platform/DeviceReport.h"
#include "platform/PlatformError.h"
#include "platform/Waiter.h"
#include "platform/Worker.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/FrameCount.h"
#include "platform/host/audio/HubClient.h"
#include "platform/host/audio/OutputMix.h"
#include "platform/host/audio/StallWatch.h"

namespace orvane::host {

/// The hub between a host's audio device and its clients (units). In each slice (block of one device callback) it
/// passes the input to each client and mixes the clients' output, in order of registration. It counts frames and ends
/// the run after exactly the frame limit. The device runs while there is a client, until the run ends.
///
/// The list of clients is published to the callback without a lock: the old list is kept until no callback reads it (a
/// hazard pointer). Thread-safe; only `deviceStarts` and `countDiscontinuity` are real-time safe. Calling `add`,
/// `remove` or `change` on the device callback, or inside a worker's task while the device is running, ends the process
/// with a message.
class AudioHub final : private backend::DeviceCallback {
 public:
  /// Creates a hub. `device` must be null if the host has no audio device.
  AudioHub(std::shared_ptr<HostContext> context, std::unique_ptr<backend::AudioDevice> device);
  /// Stops the device if it is running.
  ~AudioHub() override;

  /// Returns whether there is an audio device now.
  bool hasDevice() const { return mDevice != nullptr && mDevice->isPresent(); }
  /// Returns the reason why there is no device or why it cannot be started, or `std::nullopt` if no reason is known.
  std::optional<platform::Failure> whyUnavailable() const;
  /// Returns the inputs or outputs that the device can use; empty without a device.
  std::vector<platform::AudioEndpoint> endpoints(platform::AudioSide side) const;
  /// Returns the latency that the hardware reports, in frames; 0 without a device.
  backend::DeviceLatency latency() const { return mDevice ? mDevice->latency() : backend::DeviceLatency{}; }
  /// Returns the format in which the device is running or, if stopped, would be started. Without a device all fields
  /// are 0.
  backend::DeviceFormat format() const;
  /// Returns the reason why the device cannot be started, or `std::nullopt` if no reason is known. The reason is
  /// `noDevice` if there is no device. If the device itself reports that it is unavailable, the run ends as failed and
  /// the subscribers are notified.
  std::optional<platform::Failure> checkAvailable();

  /// Registers a client and starts the device if it is not running. Returns `std::nullopt` on success; otherwise the
  /// client is not registered, and the reason is returned.
  std::optional<platform::Failure> add(HubClient& client);
  /// Removes a client; if it is the last one, stops the device first. The client is not called after `remove` has
  /// returned. Ignores an unknown client.
  void remove(HubClient& client);
  /// Removes a client without waiting, so that it can be called inside a worker's task. `isWanted` is called just
  /// before the removal, while no client is added or removed; if it returns false, nothing happens. Calls `done` on the
  /// hub's worker as soon as the client is no longer called, or if the client is unknown. If the hub is destroyed
  /// first, `done` is not called. `client` is used only if `isWanted` returns true.
  void removeSoon(HubClient& client, std::function<bool()> isWanted, std::function<void()> done);
  /// Stops the device permanently, because the host is being destroyed. May be called inside a worker's task.
  void shutDown();

  /// Lets a registered client change what it exchanges with the device, which is not stopped. A device that takes on
  /// another side may interrupt the sound; it reports that as missing frames or a gap. `prepare` is
  /// called while no client is added or removed and the format does not change; it takes the format in which the device
  /// is running. If it returns a failure, so does this function, and nothing else happens. Otherwise the sides that
  /// clients use are read again, and slices that began before `prepare` returned have ended when this function returns.
  std::optional<platform::Failure> change(
      const std::function<std::optional<platform::Failure>(const backend::DeviceFormat&)>& prepare);

  /// Sets the frame limit of the run, see `platform::RunControl::endAfterFrames`.
  void endAfterFrames(std::uint64_t frames) { mFrameLimit = frames; }
  /// Ends the run soon, see `platform::RunControl::endRun`.
  void endRun();
  /// Returns the counts of the run. The field `overruns` is 0, because overruns are counted by `FileRecord`.
  platform::RunCount runCount() const;
  /// Counts a gap in the sound that a client noticed. Real-time safe; thread-safe.
  void countDiscontinuity() { ++mDiscontinuities; }
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
  std::optional<platform::Failure> failureOfRun();
  std::optional<platform::Failure> startDevice();
  std::optional<platform::Failure> startInFormat();
  void labelDevice();
  void stopDevice();
  void withControlSoon(std::function<void()> work);
  void useSidesOf(const Clients& clients);
  std::unique_ptr<const Clients> publish(std::unique_ptr<const Clients> clients);
  std::unique_ptr<const Clients> without(const HubClient& client) const;
  void awaitUnread(std::unique_ptr<const Clients> old);
  void releaseSoon(std::shared_ptr<const Clients> old, std::function<void()> done);

  const std::shared_ptr<HostContext> mContext;
  const std::unique_ptr<backend::AudioDevice> mDevice;
  const std::unique_ptr<platform::Waiter> mReleased;
  const std::unique_ptr<platform::Worker> mWorker;  ///< Runs the stall watch and tasks that the callback triggers.
  StallWatch mStallWatch;
  std::unique_ptr<platform::Trigger> mReleaseTrigger;
  std::unique_ptr<platform::Trigger> mFinishTrigger;

  std::mutex mControl;  ///< Serialises `add`, `remove`, start and stop; never locked on the callback.
  std::atomic<bool> mStarted = false;
  bool mIsShutDown = false;
  backend::DeviceFormat mFormat;  ///< Format of the last start; read by the callback while the device is running.
  mutable std::mutex mFormatMutex;
  std::optional<backend::DeviceFormat>
      mRunningFormat;  ///< Copy of `mFormat` for other threads; set while the device is running.

  std::unique_ptr<const Clients> mClients;
  std::atomic<const Clients*> mPublished;
  std::atomic<const Clients*> mRead = nullptr;  ///< The list that the callback in progress is reading; null otherwise.
  std::atomic<bool> mReleaseWanted = false;

  std::atomic<std::uint64_t> mDeviceStarts = 0;
  std::atomic<std::uint64_t> mFrameLimit = 0;
  FrameCount mFrames;
  std::atomic<std::uint64_t> mDiscontinuities = 0;
  std::atomic<std::uint32_t> mMaxSliceFrames = 0;
  std::uint64_t mPosition = 0;  ///< Frames so far, including missing ones; used by the callback only.
  /// Set by the callback when it ends the run; `finishRun` announces the end later, on the hub's worker.
  std::atomic<platform::DeviceEnd> mEndOnCallback = platform::DeviceEnd::none;
  std::atomic<const char*> mClientFailure = nullptr;  ///< The reason that a client gave for ending the run.
};

}  // namespace orvane::host
