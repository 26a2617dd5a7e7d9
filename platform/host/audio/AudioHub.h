#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/audio/OutputMix.h"
#include "platform/host/audio/RunEnd.h"
#include "platform/host/audio/StallWatch.h"

namespace orvane::host {

/// Somebody who takes part in the device's slices: a unit, a queue, a graph, a sound.
class HubClient {
 public:
  virtual ~HubClient() = default;
  /// On the device callback: takes the slice's input and adds output. Must be real-time safe.
  virtual void deviceSlice(const DeviceSlice& slice, OutputMix& mix) = 0;
  /// Whether the client needs the slice's input. Asked when clients come and go.
  virtual bool takesInput() const { return true; }
};

/// The one user of the audio device in a process. Hands input to each client and mixes their output, in order of
/// registration. The device runs while there is a client; when it stalls the run has failed, and no client is called
/// until the device was stopped and started again.
///
/// The list of clients reaches the callback without a lock: a new list is published, and the old one lives until no
/// callback reads it. Control calls may come from any thread but the device's.
class AudioHub final : public DeviceCallback {
 public:
  AudioHub(std::unique_ptr<AudioDevice> device, std::shared_ptr<platform::Scheduler> scheduler);
  /// Stops the device.
  ~AudioHub() override;

  AudioDevice& device() { return *mDevice; }
  const AudioDevice& device() const { return *mDevice; }

  /// How the device's run ended by itself, a stall included.
  platform::DeviceEnd end() const { return mEnd.end(); }
  std::optional<platform::Failure> failure() const { return mEnd.failure(); }
  void onEnd(std::function<void()> notice) { mEnd.onEnd(std::move(notice)); }

  /// Registers a client and starts the device where it does not run. On a failure the client is not registered.
  platform::Status add(HubClient& client);
  /// Takes a client out, and stops the device behind the last one. Once this has returned the client is not called.
  void remove(HubClient& client);

 private:
  using Clients = std::vector<HubClient*>;

  void deviceSlice(const DeviceSlice& slice) override;
  void deviceInterrupted(platform::HostTime until) override { mStallWatch.expectSilence(until); }
  void deviceEnded(platform::DeviceEnd end, std::optional<platform::Failure> failure) override;
  void deviceStalled();
  void callClients(const DeviceSlice& slice);
  platform::Status startDevice();
  void change(std::unique_ptr<const Clients> clients);
  void publish(std::unique_ptr<const Clients> clients);

  std::unique_ptr<AudioDevice> mDevice;
  std::shared_ptr<platform::Scheduler> mScheduler;
  std::unique_ptr<platform::Waiter> mReleased;
  std::unique_ptr<platform::Worker> mWorker;  ///< Runs the stall watch and notices of the end.
  RunEnd mEnd;
  StallWatch mStallWatch;
  std::mutex mControl;  ///< Serialises control calls; never taken on the callback.
  std::unique_ptr<const Clients> mClients;
  std::atomic<const Clients*> mPublished;
  std::atomic<const Clients*> mRead = nullptr;  ///< The list that a running callback reads.
  std::atomic<bool> mReleaseWanted = false;
};

}  // namespace orvane::host
