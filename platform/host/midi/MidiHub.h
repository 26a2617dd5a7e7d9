// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "platform/MidiService.h"
#include "platform/PlatformError.h"
#include "platform/Subscription.h"
#include "platform/Worker.h"
#include "platform/backend/MidiTransport.h"
#include "platform/host/HostContext.h"
#include "platform/host/midi/MidiInbox.h"
#include "platform/host/midi/MidiInventory.h"
#include "platform/host/midi/MidiOutbox.h"
#include "platform/host/report/Notices.h"

namespace orvane::host {

/// The hub between a host's MIDI transport and the services that use it: the inventory, the packets that wait to be
/// sent (on one worker) and those that arrived (delivered on another), and the record of activity. Thread-safe; not
/// real-time safe, except for what the transport calls on its real-time thread.
class MidiHub final : public std::enable_shared_from_this<MidiHub>, private backend::MidiTransportCallback {
 public:
  /// A function that is called with each notification, on the thread that reports the change.
  using Announce = std::function<void(const platform::MidiNotification&)>;

  /// Creates a hub, which must be owned by a `std::shared_ptr`. `transport` must be null if the host has no MIDI.
  MidiHub(std::shared_ptr<HostContext> context, std::unique_ptr<backend::MidiTransport> transport);
  ~MidiHub() override;

  /// Sets the function that announces changes; an empty one removes it. The old one is not called any more after that.
  void setAnnounce(Announce announce);
  /// Starts the transport and the workers, if that has not been done yet. Returns why they cannot be used, or
  /// `std::nullopt`.
  std::optional<platform::Failure> start();
  /// Returns why MIDI cannot be used, or `std::nullopt`.
  std::optional<platform::Failure> whyUnavailable() const;

  /// Returns the inventory, brought up to date.
  MidiInventory& inventory() {
    if (mTransport) mTransport->refresh();
    return mInventory;
  }
  MidiInbox& inbox() { return mInbox; }
  /// May be used only after a successful start.
  MidiOutbox& outbox() { return mOutbox; }
  /// Returns the worker that sends. May be used only after a successful start.
  platform::Worker& sender() { return *mSender; }
  /// Completes the files that the transport writes, so that their failures are known.
  bool flush() { return mTransport->flush(); }
  /// Tells the transport whether any port is connected to a source, named by its route. Called after each change of its
  /// connections.
  void updateListening(platform::MidiObjectRef route);
  /// Announces a port to the transport. Returns why the transport cannot make it, or `std::nullopt`.
  std::optional<platform::Failure> addPort(const backend::MidiPortLabels& labels) {
    return mTransport->addPort(labels);
  }
  /// Removes a port. An output port is kept until what was sent from it is delivered.
  void removePort(platform::MidiObjectRef port, bool isInput);
  /// Prepares the exchange between a port and an endpoint, see `backend::MidiTransport::connect`. May block.
  std::optional<platform::Failure> connect(platform::MidiObjectRef port, platform::MidiObjectRef endpoint,
                                           platform::MidiObjectRef& route);
  /// Returns how long before their time the transport takes events.
  platform::HostTime lead() const { return mTransport->limits().lead; }

  /// Counts players that are playing: `count` is 1 or -1.
  void playerPlays(int count);

  /// Returns the packets that have left.
  platform::MidiCount sent() const;
  std::uint64_t dropped() const { return mDropped; }
  std::uint64_t discontinuities() const { return mTransport ? mTransport->discontinuities() : 0; }
  bool isActive() const;
  bool inputEnded() const { return mSourceHasPlayed && mPlayingSources == 0; }
  /// Returns why the connection ended or an endpoint in use is gone, or `std::nullopt`.
  std::optional<platform::Failure> failure() const;
  bool isLost() const { return mIsLost; }
  platform::Subscription onActivityEnd(std::function<void()> notice);

 private:
  bool received(const backend::MidiEvent& event) override { return mInbox.push(event); }
  void dropped(std::uint64_t events) override { mDropped.fetch_add(events, std::memory_order_relaxed); }
  void cycleEnded() override { mInbox.wake(); }
  platform::Worker& deliveryWorker() override { return *mReceiver; }
  std::weak_ptr<void> lifetime() override { return weak_from_this(); }
  void deliver(const backend::MidiEvent& event) override { mInbox.collect(event); }
  void delivered() override { mInbox.flush(); }
  void changed(backend::MidiChange change) override;
  void sourcePlays(int count) override;
  void becameIdle() override { checkActivity(); }
  void endpointLost(platform::Failure failure) override;
  void lost(platform::Failure failure) override;

  std::optional<platform::Failure> startWorkers();
  void checkActivity();
  void warnOfDrops();
  bool isDone(platform::MidiObjectRef port);
  void removeEndedPorts(bool isIdle);
  void watchEndedPorts();
  void finishAtExit();
  void deliverAtExit();

  const std::shared_ptr<HostContext> mContext;
  const std::unique_ptr<backend::MidiTransport> mTransport;
  std::mutex mInventoryMutex;  ///< Keeps changes of the inventory in order.
  MidiInventory mInventory;
  MidiInbox mInbox;
  MidiOutbox mOutbox;

  std::mutex mListenMutex;  ///< Keeps the calls of the transport in the order of the changes that they tell.
  std::set<platform::MidiObjectRef> mListened;  ///< The sources to which a port is connected, as the transport knows.
  std::mutex mStartMutex;
  bool mIsStarted = false;
  std::mutex mAnnounceMutex;
  Announce mAnnounce;

  std::mutex mPortsMutex;
  std::map<platform::MidiObjectRef, std::set<platform::MidiObjectRef>> mRoutes;  ///< By port.
  std::set<platform::MidiObjectRef> mEndedPorts;  ///< Output ports to remove once what was sent from them is delivered.
  std::atomic<bool> mHasEndedPorts = false;
  bool mWatchesPorts = false;        ///< A task of the sender looks at the ended ports.
  platform::HostTime mPortPeriod{};  ///< When that task runs again.

  std::atomic<int> mPlayingSources = 0;
  std::atomic<int> mPlayers = 0;
  std::atomic<bool> mSourceHasPlayed = false;
  std::atomic<bool> mIsLost = false;
  std::atomic<std::uint64_t> mDropped = 0;
  bool mHasWarned = false;  ///< The log tells of dropped events. Used by the worker that delivers.
  mutable std::mutex mEndMutex;
  bool mHasEnded = false;  ///< An end of the activity has been announced.
  std::optional<platform::Failure> mFailure;
  Notices mNotices;

  // Last, so that no task runs while the members above are destroyed.
  std::unique_ptr<platform::Worker> mSender;
  std::unique_ptr<platform::Worker> mReceiver;
};

}  // namespace orvane::host
