// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/EventLoop.h"
#include "platform/MidiService.h"
#include "platform/host/HostContext.h"
#include "platform/host/midi/MidiHub.h"

namespace orvane::host {

/// The host's implementation of `platform::MidiService`. Notifications are posted to the event loop.
class HostMidi final : public platform::MidiService {
  using Ref = platform::MidiObjectRef;

 public:
  HostMidi(std::shared_ptr<HostContext> context, std::shared_ptr<MidiHub> hub,
           std::shared_ptr<platform::EventLoop> eventLoop);
  ~HostMidi() override;

  std::uint32_t numberOfDevices() const override;
  Ref device(std::uint32_t index) const override;
  std::uint32_t numberOfExternalDevices() const override;
  Ref externalDevice(std::uint32_t index) const override;
  std::uint32_t numberOfSources() const override;
  Ref source(std::uint32_t index) const override;
  std::uint32_t numberOfDestinations() const override;
  Ref destination(std::uint32_t index) const override;
  std::uint32_t numberOfEntities(Ref device) const override;
  Ref entity(Ref device, std::uint32_t index) const override;
  std::uint32_t numberOfSources(Ref entity) const override;
  Ref source(Ref entity, std::uint32_t index) const override;
  std::uint32_t numberOfDestinations(Ref entity) const override;
  Ref destination(Ref entity, std::uint32_t index) const override;

  platform::Status integerProperty(Ref object, std::string_view property, std::int32_t& value) const override;
  platform::Status stringProperty(Ref object, std::string_view property, platform::SharedText& value) const override;
  platform::Status dataProperty(Ref object, std::string_view property, platform::Value::Data& value) const override;
  platform::Status properties(Ref object, platform::Value& dictionary) const override;
  platform::Status findObject(std::int32_t uniqueIdentifier, Ref& object,
                              platform::MidiObjectKind& kind) const override;

  platform::Status createClient(const std::string& name, platform::MidiNotify notify, Ref& client) override;
  platform::Status disposeClient(Ref client) override;
  platform::Status createOutputPort(Ref client, const std::string& name, Ref& port) override;
  platform::Status createInputPort(Ref client, const std::string& name, platform::MidiReceive receive,
                                   Ref& port) override;
  platform::Status disposePort(Ref port) override;
  platform::Status connectSource(Ref port, Ref source, void* context) override;
  platform::Status disconnectSource(Ref port, Ref source) override;
  platform::Status send(Ref port, Ref destination, const platform::PacketList& list) override;

 private:
  /// A client. Calls of `notify` and the end of the client exclude each other.
  struct Client {
    std::string name;
    std::recursive_mutex mutex;
    platform::MidiNotify notify;
    bool isOpen = true;  ///< Cleared at the end of the client, which may come from a call of `notify` itself.
  };
  struct Port {
    Ref client{};
    std::shared_ptr<MidiInputPort> input;  ///< Null for an output port.
    std::map<Ref, Ref> routes = {};        ///< By endpoint: what stands for it at the transport.
  };

  Ref newHandle() { return static_cast<Ref>(mNextHandle++); }
  platform::Status fail(platform::Status status, const GatedCall& call, const std::string& reason) const;
  platform::Status addPort(const GatedCall& call, Ref client, const std::string& name,
                           std::shared_ptr<MidiInputPort> input, Ref& port);
  platform::Status checkConnection(const GatedCall& call) const;
  void release(Ref handle, const Port& port);
  std::optional<platform::Failure> findRoute(Ref port, Ref endpoint, Ref& route);
  Ref knownRoute(Ref port, Ref endpoint);
  std::shared_ptr<MidiInputPort> inputPort(Ref port);
  bool isOutputPort(Ref port);
  void announce(const platform::MidiNotification& notification);

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<MidiHub> mHub;
  const std::shared_ptr<platform::EventLoop> mEventLoop;
  std::mutex mMutex;
  std::uint32_t mNextHandle = 0x80000000;  ///< Smaller numbers are the transport's.
  std::map<Ref, std::shared_ptr<Client>> mClients;
  std::map<Ref, Port> mPorts;
};

}  // namespace orvane::host
