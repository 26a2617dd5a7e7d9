// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/backend/BackendModule.h"
#include "platform/backend/MidiTransport.h"
#include "platform/pipewire/Link.h"
#include "platform/pipewire/MidiCatalogue.h"
#include "platform/pipewire/MidiNode.h"
#include "platform/pipewire/Server.h"

namespace orvane::pipewire {

/// The sound server's MIDI ports as a transport, on the connection that the audio device uses.
///
/// - Connects when the inventory is first read or the transport starts; until then a later attempt can succeed.
/// - A port of a client is a node of its own, linked to the first endpoint that it exchanges with. For each further
///   endpoint there is another node of the same name, so that the messages of different endpoints stay apart.
/// - A link that exists already is used as it is; one that somebody removes is made again.
/// - Once started, asks the server for a sign of life every half second. A lost connection stays lost:
///   a program makes a new host to go on.
class PipeWireMidi final : public backend::MidiTransport {
  using Ref = platform::MidiObjectRef;

 public:
  PipeWireMidi(backend::ModuleServices services, std::optional<std::uint32_t> sliceFrames);
  ~PipeWireMidi() override;

  std::optional<platform::Failure> whyUnavailable() const override;
  std::vector<backend::MidiObject> attach(backend::MidiTransportCallback& callback) override;
  void detach() override;
  backend::MidiLimits limits() const override;
  void refresh() override;
  std::optional<platform::Failure> start() override;
  std::optional<platform::Failure> addPort(const backend::MidiPortLabels& labels) override;
  void removePort(Ref port) override;
  std::optional<platform::Failure> connect(Ref port, Ref endpoint, Ref& route) override;
  void listen(Ref route, bool isConnected) override;
  bool send(const backend::MidiEvent& event) override;
  std::size_t discard(Ref route) override;
  backend::MidiBacklog backlog() const override;
  bool isIdle() const override;
  bool isIdle(Ref port) const override;
  std::uint64_t discontinuities() const override { return mDiscontinuities; }
  bool flush() override;

 private:
  /// Makes the worker look at every change of the server.
  class Watcher final : public Connection::Watcher {
   public:
    explicit Watcher(platform::Trigger& update) : mUpdate(update) {}
    void serverLost() override { mUpdate.fire(); }
    void inventoryChanged() override { mUpdate.fire(); }

   private:
    platform::Trigger& mUpdate;
  };
  struct Port {
    backend::MidiPortLabels labels;
    std::shared_ptr<MidiNode> node;  ///< The one that other programs know the port by.
    bool isUsed = false;             ///< A route uses this node.
  };
  /// The exchange between a port and an endpoint.
  struct Route {
    Ref port{};
    Ref endpoint{};
    bool isInput = false;
    bool isWanted = true;  ///< Whether the link is to be made again if it goes away.
    bool isGone = false;   ///< The endpoint was removed, which was reported.
    std::shared_ptr<MidiNode> node;
    std::unique_ptr<Link> link;
    platform::HostTime activeSince{};   ///< Zero while the link carries nothing.
    platform::HostTime nextLinkTime{};  ///< When a link may be made again.
    std::string refusal;                ///< Why the server refused the last link; empty if it did not.
  };

  std::optional<platform::Failure> connectServer() const;
  std::shared_ptr<MidiNode> makeNode(const backend::MidiPortLabels& labels);
  Route& makeRoute(Port& port, Ref endpoint, Ref handle);
  std::optional<platform::Failure> awaitRoute(Ref handle);
  void dropRoute(std::map<Ref, Route>::iterator route);
  bool follow(Route& route);
  bool isUp(Route& route);

  void update();
  std::string followRoutes();
  std::optional<platform::HostTime> checkServer();
  void lose(const platform::Failure& failure);

  const backend::ModuleServices mServices;
  const std::optional<std::uint32_t> mSliceFrames;
  const platform::HostTime mHostOffset;
  const std::shared_ptr<Server> mServer;
  backend::MidiTransportCallback* mCallback = nullptr;
  const std::unique_ptr<platform::Worker> mWorker;
  const std::unique_ptr<platform::Trigger> mUpdateTrigger;  ///< Fired by the server's events.
  const std::unique_ptr<platform::Trigger> mSentTrigger;    ///< Fired by nodes whose queue is empty.
  std::atomic<std::uint64_t> mDiscontinuities = 0;

  std::mutex mUpdateMutex;  ///< Keeps changes in order. Taken before the lock of the loop.

  // With the lock of the loop.
  mutable Watcher mWatcher;
  mutable std::shared_ptr<Connection> mConnection;
  MidiCatalogue mCatalogue;
  std::map<Ref, Port> mPorts;
  std::map<Ref, Route> mRoutes;
  platform::MidiCount mLost;  ///< Events that were sent on routes which are gone.
  bool mIsStarted = false;
  bool mIsCurrent = false;                 ///< The host knows the objects of the connection.
  std::optional<platform::Failure> mLoss;  ///< Why a started transport ended.

  // The worker's.
  int mUnanswered = 0;  ///< Number of checks since the server's last sign of life.
  platform::HostTime mLastCheck{};
};

}  // namespace orvane::pipewire
