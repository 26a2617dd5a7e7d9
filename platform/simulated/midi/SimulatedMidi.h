// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/Clock.h"
#include "platform/MidiService.h"
#include "platform/PlatformError.h"
#include "platform/Worker.h"
#include "platform/backend/MidiTransport.h"
#include "platform/host/HostContext.h"
#include "platform/simulated/midi/CaptureFile.h"
#include "platform/simulated/midi/MidiSettings.h"
#include "platform/simulated/scenario/FaultPlan.h"

namespace orvane::simulated {

/// MIDI devices that are simulated inside the process. The files of sources are played on the worker that delivers;
/// another worker changes the inventory at the times of the scenario's events.
///
/// - A source that plays a file starts when it is first listened to.
/// - What a destination called "Loopback" receives arrives at the first source called "Loopback".
/// - Events at time 0 happen at the first wait or, in real time, when the transport is started.
/// - A lost server ends the connection.
class SimulatedMidi final : public backend::MidiTransport {
 public:
  SimulatedMidi(MidiSettings settings, std::shared_ptr<host::HostContext> context, std::shared_ptr<FaultPlan> faults,
                bool isFast);
  ~SimulatedMidi() override;

  std::optional<platform::Failure> whyUnavailable() const override;
  std::vector<backend::MidiObject> attach(backend::MidiTransportCallback& callback) override;
  void detach() override;
  std::optional<platform::Failure> start() override;
  void listen(platform::MidiObjectRef source, bool isConnected) override;
  bool send(const backend::MidiEvent& event) override;
  bool flush() override;

 private:
  using HostTime = platform::HostTime;
  /// A source that plays a file, and how far it has played.
  struct Playing {
    platform::MidiObjectRef source{};
    std::shared_ptr<const host::MidiFileContent> content;
    bool isStarted = false;
    HostTime startTime{};
    std::size_t next = 0;
  };

  HostTime now() const { return mContext->scheduler->clock().now(); }
  void scheduleEvents();
  std::optional<HostTime> runEvents();
  void change(const MidiEventSetting& event);
  std::optional<HostTime> play(Playing& playing);
  void lose();
  /// Returns the object with a handle. Called with the mutex locked.
  const backend::MidiObject& object(platform::MidiObjectRef ref) const {
    return mObjects[static_cast<std::size_t>(ref) - 1];
  }

  const std::shared_ptr<host::HostContext> mContext;
  const std::shared_ptr<FaultPlan> mFaults;
  const bool mIsFast;
  const std::vector<MidiEventSetting> mEvents;
  std::size_t mNextEvent = 0;  ///< Used by the worker.
  std::vector<Playing> mPlaying;
  const platform::MidiObjectRef mLoopSource;       ///< `none` if there is no loop-back.
  const platform::MidiObjectRef mLoopDestination;  ///< `none` if there is no loop-back.
  std::unique_ptr<CaptureFile> mCapture;
  backend::MidiTransportCallback* mCallback = nullptr;
  std::atomic<bool> mIsLost = false;
  std::mutex mObjectsMutex;
  std::vector<backend::MidiObject> mObjects;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::simulated
