// SPDX-License-Identifier: MIT
#include "platform/host/midi/HostMidi.h"

#include <optional>
#include <utility>
#include <vector>

#include "platform/Status.h"
#include "platform/host/CallGate.h"

namespace orvane::host {

using platform::MidiObjectKind;
using platform::MidiObjectRef;
using platform::Status;
using List = MidiInventory::List;
namespace status = platform::status;

namespace {

const GatedCall createClientCall("MidiService::createClient");
const GatedCall disposeClientCall("MidiService::disposeClient");
const GatedCall createOutputPortCall("MidiService::createOutputPort");
const GatedCall createInputPortCall("MidiService::createInputPort");
const GatedCall disposePortCall("MidiService::disposePort");
const GatedCall connectSourceCall("MidiService::connectSource");
const GatedCall disconnectSourceCall("MidiService::disconnectSource");
const GatedCall sendCall("MidiService::send");
const GatedCall integerPropertyCall("MidiService::integerProperty");
const GatedCall stringPropertyCall("MidiService::stringProperty");
const GatedCall dataPropertyCall("MidiService::dataProperty");
const GatedCall propertiesCall("MidiService::properties");
const GatedCall findObjectCall("MidiService::findObject");

constexpr char noClient[] = "no client has this handle";

std::string numberText(MidiObjectRef object) {
  return std::to_string(static_cast<std::uint32_t>(object));
}

}  // namespace

HostMidi::HostMidi(std::shared_ptr<HostContext> context, std::shared_ptr<MidiHub> hub,
                   std::shared_ptr<platform::EventLoop> eventLoop)
    : mContext(std::move(context)), mHub(std::move(hub)), mEventLoop(std::move(eventLoop)) {
  mHub->setAnnounce([this](const platform::MidiNotification& notification) { announce(notification); });
}

HostMidi::~HostMidi() {
  mHub->setAnnounce(nullptr);
  // The hub may outlive this object, but not call the functions of its ports.
  for (const auto& [handle, port] : mPorts) release(handle, port);
}

// ---- the inventory

std::uint32_t HostMidi::numberOfDevices() const {
  return mHub->inventory().count(List::devices);
}
MidiObjectRef HostMidi::device(std::uint32_t index) const {
  return mHub->inventory().at(List::devices, index);
}
std::uint32_t HostMidi::numberOfExternalDevices() const {
  return mHub->inventory().count(List::externalDevices);
}
MidiObjectRef HostMidi::externalDevice(std::uint32_t index) const {
  return mHub->inventory().at(List::externalDevices, index);
}
std::uint32_t HostMidi::numberOfSources() const {
  return mHub->inventory().count(List::sources);
}
MidiObjectRef HostMidi::source(std::uint32_t index) const {
  return mHub->inventory().at(List::sources, index);
}
std::uint32_t HostMidi::numberOfDestinations() const {
  return mHub->inventory().count(List::destinations);
}
MidiObjectRef HostMidi::destination(std::uint32_t index) const {
  return mHub->inventory().at(List::destinations, index);
}
std::uint32_t HostMidi::numberOfEntities(Ref device) const {
  return mHub->inventory().count(device, MidiObjectKind::entity);
}
MidiObjectRef HostMidi::entity(Ref device, std::uint32_t index) const {
  return mHub->inventory().at(device, MidiObjectKind::entity, index);
}
std::uint32_t HostMidi::numberOfSources(Ref entity) const {
  return mHub->inventory().count(entity, MidiObjectKind::source);
}
MidiObjectRef HostMidi::source(Ref entity, std::uint32_t index) const {
  return mHub->inventory().at(entity, MidiObjectKind::source, index);
}
std::uint32_t HostMidi::numberOfDestinations(Ref entity) const {
  return mHub->inventory().count(entity, MidiObjectKind::destination);
}
MidiObjectRef HostMidi::destination(Ref entity, std::uint32_t index) const {
  return mHub->inventory().at(entity, MidiObjectKind::destination, index);
}

// Reading may fail as a matter of course, so these failures are not logged, except those that a scenario injects.

Status HostMidi::integerProperty(Ref object, std::string_view property, std::int32_t& value) const {
  if (const auto refused = mContext->refusalOf(integerPropertyCall)) return *refused;
  return mHub->inventory().integer(object, property, value);
}

Status HostMidi::stringProperty(Ref object, std::string_view property, platform::SharedText& value) const {
  if (const auto refused = mContext->refusalOf(stringPropertyCall)) return *refused;
  return mHub->inventory().text(object, property, value);
}

Status HostMidi::dataProperty(Ref object, std::string_view property, platform::Value::Data& value) const {
  if (const auto refused = mContext->refusalOf(dataPropertyCall)) return *refused;
  return mHub->inventory().data(object, property, value);
}

Status HostMidi::properties(Ref object, platform::Value& dictionary) const {
  if (const auto refused = mContext->refusalOf(propertiesCall)) return *refused;
  return mHub->inventory().properties(object, dictionary);
}

Status HostMidi::findObject(std::int32_t uniqueIdentifier, Ref& object, MidiObjectKind& kind) const {
  if (const auto refused = mContext->refusalOf(findObjectCall)) return *refused;
  return mHub->inventory().find(uniqueIdentifier, object, kind);
}

// ---- clients and ports

Status HostMidi::fail(Status status, const GatedCall& call, const std::string& reason) const {
  return mContext->refuse({status, reason, std::string(call.name())});
}

/// Returns the status of a lost connection, after logging it as the reason why `call` fails; success if it is not lost.
Status HostMidi::checkConnection(const GatedCall& call) const {
  if (!mHub->isLost()) return status::success;
  const auto lost = mHub->failure();
  return fail(lost->status, call, lost->reason);
}

Status HostMidi::createClient(const std::string& name, platform::MidiNotify notify, Ref& client) {
  if (const auto refused = mContext->refusalOf(createClientCall)) return *refused;
  const auto made = std::make_shared<Client>();
  made->name = name;
  made->notify = std::move(notify);
  {
    // The client is registered before the transport starts, so that it gets the first notification.
    const std::lock_guard lock(mMutex);
    client = newHandle();
    mClients.emplace(client, made);
  }
  const auto failed = mHub->start();
  if (!failed) return status::success;
  {
    const std::lock_guard lock(mMutex);
    mClients.erase(client);
  }
  client = Ref::none;
  return fail(failed->status, createClientCall, failed->reason);
}

Status HostMidi::disposeClient(Ref client) {
  if (const auto refused = mContext->refusalOf(disposeClientCall)) return *refused;
  std::map<Ref, Port> ports;
  std::shared_ptr<Client> ended;
  {
    const std::lock_guard lock(mMutex);
    auto node = mClients.extract(client);
    if (node) ended = std::move(node.mapped());
    for (auto port = mPorts.begin(); port != mPorts.end();) {
      if (port->second.client == client) ports.insert(*port);
      port = port->second.client == client ? mPorts.erase(port) : std::next(port);
    }
  }
  if (!ended) return fail(status::badParameter, disposeClientCall, noClient);
  for (const auto& [handle, port] : ports) release(handle, port);
  mHub->flush();
  const std::lock_guard lock(ended->mutex);
  ended->isOpen = false;
  return status::success;
}

Status HostMidi::addPort(const GatedCall& call, Ref client, const std::string& name,
                         std::shared_ptr<MidiInputPort> input, Ref& port) {
  if (const auto refused = mContext->refusalOf(call)) return *refused;
  backend::MidiPortLabels labels{.name = name, .isInput = input != nullptr};
  bool hasClient = false;
  {
    const std::lock_guard lock(mMutex);
    const auto owner = mClients.find(client);
    hasClient = owner != mClients.end();
    if (hasClient) {
      labels.client = owner->second->name;
      port = labels.port = newHandle();
      mPorts.emplace(port, Port{client, std::move(input)});
    }
  }
  if (!hasClient) return fail(status::badParameter, call, noClient);
  const auto failed = mHub->addPort(labels);
  if (!failed) return status::success;
  {
    const std::lock_guard lock(mMutex);
    mPorts.erase(port);
  }
  port = Ref::none;
  return fail(failed->status, call, failed->reason);
}

Status HostMidi::createOutputPort(Ref client, const std::string& name, Ref& port) {
  return addPort(createOutputPortCall, client, name, nullptr, port);
}

Status HostMidi::createInputPort(Ref client, const std::string& name, platform::MidiReceive receive, Ref& port) {
  return addPort(createInputPortCall, client, name, std::make_shared<MidiInputPort>(std::move(receive)), port);
}

/// Ends the connections of a port that is not registered any more.
void HostMidi::release(Ref handle, const Port& port) {
  if (port.input) {
    port.input->isDisposed = true;
    for (const Ref route : mHub->inbox().disconnectAll(*port.input)) mHub->updateListening(route);
  }
  mHub->removePort(handle, port.input != nullptr);
}

/// Returns the route between a port and an endpoint; `none` if there is none yet.
MidiObjectRef HostMidi::knownRoute(Ref port, Ref endpoint) {
  const std::lock_guard lock(mMutex);
  const auto found = mPorts.find(port);
  if (found == mPorts.end()) return Ref::none;
  const auto known = found->second.routes.find(endpoint);
  return known == found->second.routes.end() ? Ref::none : known->second;
}

/// Finds the route between a port and an endpoint, or makes it, which may block. Returns why there can be none.
std::optional<platform::Failure> HostMidi::findRoute(Ref port, Ref endpoint, Ref& route) {
  route = knownRoute(port, endpoint);
  if (route != Ref::none) return std::nullopt;
  if (auto failed = mHub->connect(port, endpoint, route)) return failed;
  const std::lock_guard lock(mMutex);
  if (const auto found = mPorts.find(port); found != mPorts.end()) found->second.routes[endpoint] = route;
  return std::nullopt;
}

Status HostMidi::disposePort(Ref port) {
  if (const auto refused = mContext->refusalOf(disposePortCall)) return *refused;
  std::optional<Port> ended;
  {
    const std::lock_guard lock(mMutex);
    auto node = mPorts.extract(port);
    if (node) ended = std::move(node.mapped());
  }
  if (!ended) return fail(status::badParameter, disposePortCall, "no port has this handle");
  release(port, *ended);
  return status::success;
}

std::shared_ptr<MidiInputPort> HostMidi::inputPort(Ref port) {
  const std::lock_guard lock(mMutex);
  const auto found = mPorts.find(port);
  return found == mPorts.end() ? nullptr : found->second.input;
}

bool HostMidi::isOutputPort(Ref port) {
  const std::lock_guard lock(mMutex);
  const auto found = mPorts.find(port);
  return found != mPorts.end() && !found->second.input;
}

Status HostMidi::connectSource(Ref port, Ref source, void* context) {
  if (const auto refused = mContext->refusalOf(connectSourceCall)) return *refused;
  if (const Status lost = checkConnection(connectSourceCall)) return lost;
  const auto input = inputPort(port);
  if (!input) return fail(status::badParameter, connectSourceCall, "no input port has this handle");
  if (!mHub->inventory().isListed(source, List::sources)) {
    return fail(status::badParameter, connectSourceCall, "no source has the handle " + numberText(source));
  }
  Ref route{};
  if (const auto failed = findRoute(port, source, route)) {
    return fail(failed->status, connectSourceCall, failed->reason);
  }
  // From here on the port's function may be called, which may release this object.
  const std::shared_ptr<MidiHub> hub = mHub;
  hub->inbox().connect(input, route, context);
  // The port may have been disposed meanwhile, perhaps before the connection was made.
  if (input->isDisposed) hub->inbox().disconnect(*input, route);
  hub->updateListening(route);
  return status::success;
}

Status HostMidi::disconnectSource(Ref port, Ref source) {
  if (const auto refused = mContext->refusalOf(disconnectSourceCall)) return *refused;
  const auto input = inputPort(port);
  const Ref route = knownRoute(port, source);
  if (!input || !mHub->inbox().disconnect(*input, route)) {
    return fail(status::badParameter, disconnectSourceCall,
                "the port is not connected to a source with the handle " + numberText(source));
  }
  mHub->updateListening(route);
  // The next connection asks the transport again.
  const std::lock_guard lock(mMutex);
  if (const auto found = mPorts.find(port); found != mPorts.end()) found->second.routes.erase(source);
  return status::success;
}

Status HostMidi::send(Ref port, Ref destination, const platform::PacketList& list) {
  if (const auto refused = mContext->refusalOf(sendCall)) return *refused;
  if (const Status lost = checkConnection(sendCall)) return lost;
  if (!isOutputPort(port)) return fail(status::badParameter, sendCall, "no output port has this handle");
  if (!mHub->inventory().isListed(destination, List::destinations)) {
    return fail(status::badParameter, sendCall, "no destination has the handle " + numberText(destination));
  }
  Ref route{};
  if (const auto failed = findRoute(port, destination, route)) return fail(failed->status, sendCall, failed->reason);
  if (mHub->outbox().add(route, list)) return status::success;
  if (const Status lost = checkConnection(sendCall)) return lost;
  return fail(status::overrun, sendCall,
              "more than " + std::to_string(MidiOutbox::maxBytes) + " bytes would wait to be sent");
}

// ---- notifications

void HostMidi::announce(const platform::MidiNotification& notification) {
  const std::lock_guard lock(mMutex);
  for (const auto& [handle, client] : mClients) {
    if (!client->notify) continue;
    mEventLoop->post([weak = std::weak_ptr(client), notification] {
      const auto alive = weak.lock();
      if (!alive) return;
      const std::lock_guard notifying(alive->mutex);
      if (alive->isOpen) alive->notify(notification);
    });
  }
}

}  // namespace orvane::host
