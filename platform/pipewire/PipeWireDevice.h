// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/backend/AudioDevice.h"
#include "platform/backend/BackendModule.h"
#include "platform/pipewire/Filter.h"
#include "platform/pipewire/Server.h"

namespace orvane::pipewire {

/// The sound server's graph as an audio device: a source and a sink, chosen by name or by the server, and one callback
/// per cycle of the graph.
///
/// - The rate is that of the graph. It is known for sure only while the graph runs, so the device runs it for a moment,
///   with silent outputs, when its format is first asked for.
/// - Slices are the cycles of the graph, whose length other clients may change at any time.
/// - A change of the rate, the source or the sink while the device runs is reported with `deviceChanged`.
/// - If the source or the sink goes away, the device moves to the server's new default, unless a name was asked for;
///   with nothing to move to it ends. Links that somebody else removes are made again.
/// - If the server goes away, the device ends. The next start connects again.
class PipeWireDevice final : public backend::AudioDevice, private Connection::Watcher {
 public:
  PipeWireDevice(backend::ModuleServices services, backend::DeviceChoice choice);
  ~PipeWireDevice() override;

  bool isPresent() const override;
  backend::DeviceFormat format() const override;
  std::optional<platform::Failure> whyUnavailable() const override;
  std::optional<platform::Failure> start(backend::DeviceCallback& callback) override;
  void stop() override;
  void useSides(bool input, bool output) override;
  backend::DeviceLatency latency() const override;
  void setSession(const std::optional<backend::SessionLabels>& session) override;
  std::vector<platform::AudioEndpoint> endpoints(platform::AudioSide side) const override;

 private:
  /// The endpoints that the device is linked to, or would be linked to.
  struct Ends {
    std::optional<Endpoint> source = {};
    std::optional<Endpoint> sink = {};
    bool operator==(const Ends&) const = default;
  };
  /// Properties of the graph, learned by running it for a moment.
  struct Learned {
    Ends ends;
    std::map<std::string, std::string> settings;  ///< Of the server, at that moment.
    std::uint32_t rate = 0;
    std::uint32_t frames = 0;
  };

  /// The consequence of a change of the server's objects for the run.
  struct Change {
    std::optional<platform::Failure> failure = {};  ///< Why the run ends.
    bool moves = false;                             ///< The run continues with other ends.
    std::string message = {};                       ///< For the log.
  };

  std::shared_ptr<Connection> connect(platform::Failure& failure) const;
  std::optional<platform::Failure> chooseEnds(const Inventory& inventory, Ends& ends) const;
  std::optional<platform::Failure> learn(const std::shared_ptr<Connection>& connection, const Ends& ends) const;
  std::optional<platform::Failure> runGraph(const std::shared_ptr<Connection>& connection, const Ends& ends) const;
  std::optional<platform::Failure> prepare(Ends& ends) const;
  backend::DeviceFormat formatOf(const Ends& ends) const;
  Ends usedOf(const Ends& ends) const;
  void stopRun();
  void preparePlanes();
  void onSlice(const Filter::Slice& slice) const;
  void handOut(const Filter::Slice& slice, backend::DeviceCallback& callback) const;

  void serverLost() override { mFollowTrigger->fire(); }
  void inventoryChanged() override { mFollowTrigger->fire(); }
  void follow();
  Change whatChanged();

  const backend::ModuleServices mServices;
  const backend::DeviceChoice mChoice;
  const std::shared_ptr<Server> mServer;
  const std::unique_ptr<platform::Worker> mWorker;
  const std::unique_ptr<platform::Trigger> mSeenTrigger;    ///< Fired by the callback at the first cycle.
  const std::unique_ptr<platform::Trigger> mChangeTrigger;  ///< Fired by the callback at another rate.
  const std::unique_ptr<platform::Trigger> mFollowTrigger;  ///< Fired by the server's events.

  // With the lock of the loop.
  mutable std::unique_ptr<Filter> mFilter;
  mutable Learned mLearned;
  mutable std::optional<platform::Failure> mLearnFailure;  ///< Why learning failed, for a moment.
  mutable platform::HostTime mLearnTime{};                 ///< When it did.
  mutable backend::DeviceFormat mLastFormat;               ///< The one that `format` returned last.
  std::shared_ptr<Connection> mWatched;
  std::map<std::string, std::string> mSettings;  ///< Of the server, as the run knows them.
  Ends mEnds;                                    ///< Of the run: what was chosen.
  Ends mUsedEnds;                                ///< Of the run: what of it is linked.

  std::optional<backend::SessionLabels> mSession;
  std::atomic<bool> mHasLoggedOptions = false;

  std::atomic<bool> mUsesInput = false;
  std::atomic<bool> mUsesOutput = false;
  backend::DeviceFormat mFormat;  ///< Of the run; set while the callback hands nothing out.

  // Between the callback and the other threads.
  std::atomic<backend::DeviceCallback*> mCallback = nullptr;
  mutable std::atomic<std::uint32_t> mSeenRate = 0;  ///< Of the first cycle; 0 before it.
  mutable std::atomic<std::uint32_t> mSeenFrames = 0;
  /// The graph no longer has the format of the run, so nothing is handed out.
  mutable std::atomic<bool> mHasChanged = false;
  mutable std::atomic<bool> mWasUnlinked = false;  ///< A link was missing since the last slice.

  // The callback's.
  struct alignas(64) Plane {
    float samples[backend::DeviceFormat::maxSliceFrames];
  };
  std::unique_ptr<Plane> mSilence = std::make_unique<Plane>();  ///< The input of a side that is not in use.
  std::unique_ptr<Plane> mUnheard = std::make_unique<Plane>();  ///< Takes the output of such a side.
  mutable std::vector<const float*> mInputs;
  mutable std::vector<float*> mOutputs;
  mutable bool mIsBroken = false;  ///< The slice before this one was incomplete.
};

}  // namespace orvane::pipewire
