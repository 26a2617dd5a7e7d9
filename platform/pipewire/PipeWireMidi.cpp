// SPDX-License-Identifier: MIT
#include "platform/pipewire/PipeWireMidi.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace orvane::pipewire {

using namespace std::chrono_literals;
using backend::MidiChange;
using backend::MidiEvent;
using platform::Failure;
using platform::HostTime;
using platform::MidiObjectRef;
namespace status = platform::status;

namespace {

/// How long before its time an event is handed out: longer than the server's longest usual cycle.
constexpr HostTime lead = 60ms;
/// How long the other end of a new link may need until it reads what is sent, and in how many cycles.
constexpr HostTime settleTime = 50ms;
constexpr std::uint64_t settleCycles = 4;
const Failure connectionLost{status::serverLost, "the sound server was lost"};
constexpr HostTime checkPeriod = 500ms;
/// A check that is later than this shows that this process was stopped, and the server perhaps too.
constexpr HostTime maxCheckPeriod = 900ms;
constexpr int maxUnanswered = 2;
/// Period in which a condition is looked at that the data thread changes.
constexpr auto pollPeriod = 2ms;
/// How long nothing leaves until a flush gives up.
constexpr HostTime stallLimit = 1s;
/// After which time a link is made again.
constexpr HostTime retryTime = 100ms;

void add(platform::MidiCount& sum, const platform::MidiCount& count) {
  sum.packets += count.packets;
  sum.bytes += count.bytes;
}

}  // namespace

PipeWireMidi::PipeWireMidi(backend::ModuleServices services, std::optional<std::uint32_t> sliceFrames)
    : mServices(std::move(services)),
      mSliceFrames(sliceFrames),
      mHostOffset(mServices.scheduler->clock().now() - std::chrono::steady_clock::now().time_since_epoch()),
      mServer(Server::get()),
      mWorker(mServices.scheduler->makeWorker("midi server")),
      mUpdateTrigger(mWorker->makeTrigger([this] { update(); })),
      mSentTrigger(mWorker->makeTrigger([this] {
        if (mCallback != nullptr && isIdle()) mCallback->becameIdle();
      })),
      mWatcher(*mUpdateTrigger) {}

PipeWireMidi::~PipeWireMidi() {
  detach();
}

backend::MidiLimits PipeWireMidi::limits() const {
  return {.lead = lead, .retry = 2ms, .joinsExclusive = true};
}

// ---- the connection

/// Connects to the server, if that has not been done yet. With neither lock.
std::optional<Failure> PipeWireMidi::connectServer() const {
  const std::lock_guard control(mServer->control());
  const Loop::Lock lock(mServer->loop());
  if (mLoss) return mLoss;
  if (mConnection && !mConnection->isLost()) return std::nullopt;
  // The connection of a started transport is never replaced; the worker is about to report its loss.
  if (mConnection && mIsStarted) return connectionLost;
  if (mConnection) mConnection->unwatch(mWatcher);
  std::string problem;
  mConnection = mServer->connect(problem);
  if (!mConnection) return Failure{status::serverLost, problem};
  mConnection->watch(mWatcher);
  mUpdateTrigger->fire();
  return std::nullopt;
}

std::optional<Failure> PipeWireMidi::whyUnavailable() const {
  return connectServer();
}

std::vector<backend::MidiObject> PipeWireMidi::attach(backend::MidiTransportCallback& callback) {
  mCallback = &callback;
  return {};
}

void PipeWireMidi::detach() {
  mWorker->cancel();
  {
    const Loop::Lock lock(mServer->loop());
    mRoutes.clear();
    mPorts.clear();
    if (mConnection) mConnection->unwatch(mWatcher);
    mConnection.reset();
  }
  mWorker->cancel();
  mCallback = nullptr;
}

void PipeWireMidi::refresh() {
  {
    const Loop::Lock lock(mServer->loop());
    if (mLoss || mIsCurrent) return;
  }
  if (!connectServer()) update();
}

std::optional<Failure> PipeWireMidi::start() {
  if (auto failure = connectServer()) return failure;
  {
    const Loop::Lock lock(mServer->loop());
    if (std::exchange(mIsStarted, true)) return std::nullopt;
  }
  mWorker->repeatAt(mServices.scheduler->clock().now(), [this] { return checkServer(); });
  return std::nullopt;
}

/// Asks the server for a sign of life. Ends the connection if it has given none for two checks.
std::optional<HostTime> PipeWireMidi::checkServer() {
  const HostTime now = mServices.scheduler->clock().now();
  bool isFrozen = false;
  {
    const Loop::Lock lock(mServer->loop());
    if (mLoss || !mConnection) return std::nullopt;
    const bool wasStopped = now - mLastCheck > maxCheckPeriod;
    const bool hasAnswered = mConnection->hasAnswered();
    mUnanswered = hasAnswered || wasStopped ? 0 : mUnanswered + 1;
    if (hasAnswered) mConnection->ask();
    mLastCheck = now;
    isFrozen = mUnanswered >= maxUnanswered;
  }
  if (!isFrozen) return now + checkPeriod;
  lose({status::stalled, "the sound server does not respond"});
  return std::nullopt;
}

void PipeWireMidi::lose(const Failure& failure) {
  {
    const Loop::Lock lock(mServer->loop());
    if (mLoss) return;
    mLoss = failure;
    mServer->loop().signal();
  }
  mCallback->lost(failure);
}

// ---- changes of the server's objects

void PipeWireMidi::update() {
  const std::lock_guard update(mUpdateMutex);
  std::vector<MidiChange> changes;
  std::string removed;
  bool isLost = false;
  {
    const Loop::Lock lock(mServer->loop());
    if (!mConnection || mLoss) return;
    isLost = mConnection->isLost();
    if (!isLost) {
      changes = mCatalogue.update(mConnection->inventory());
      removed = followRoutes();
      mServer->loop().signal();
    } else if (!mIsStarted) {
      changes = mCatalogue.update({});
      mIsCurrent = false;
      mConnection->unwatch(mWatcher);
      mConnection.reset();
    }
  }
  for (MidiChange& change : changes) mCallback->changed(std::move(change));
  if (!isLost) {
    // Not before: `refresh` would leave its caller with the objects of before.
    const Loop::Lock lock(mServer->loop());
    mIsCurrent = mConnection != nullptr;
  }
  if (!removed.empty()) {
    mCallback->endpointLost({status::deviceLost, removed});
    mCallback->becameIdle();
  }
  if (isLost && mIsStarted) lose(connectionLost);
}

/// Makes missing links again. Returns a sentence about an endpoint in use that was removed, or about a node that
/// failed; empty if neither happened.
std::string PipeWireMidi::followRoutes() {
  std::string removed;
  for (auto& [handle, route] : mRoutes) {
    if (const auto& problem = route.node->problem()) {
      if (!std::exchange(route.isGone, true)) removed = *problem;
      continue;
    }
    if (!route.isWanted) continue;
    const bool isGone = !mCatalogue.portOf(route.endpoint);
    if (isGone && !std::exchange(route.isGone, true)) {
      route.node->discard();
      removed = std::string("the MIDI ") + (route.isInput ? "source" : "destination") + " \"" +
                mCatalogue.nameOf(route.endpoint) + "\" was removed";
    }
    if (isGone) continue;
    route.isGone = false;
    // A link that somebody removed may have carried something.
    if (follow(route)) mDiscontinuities.fetch_add(1);
  }
  return removed;
}

// ---- ports

/// Makes a node for a port. With the lock of the loop.
std::shared_ptr<MidiNode> PipeWireMidi::makeNode(const backend::MidiPortLabels& labels) {
  return std::make_shared<MidiNode>(
      MidiNodeSetup{mConnection, mServer->dataLoop(), mServices, mHostOffset, mSliceFrames, *mCallback, *mSentTrigger,
                    *mUpdateTrigger, mDiscontinuities},
      labels);
}

std::optional<Failure> PipeWireMidi::addPort(const backend::MidiPortLabels& labels) {
  const Loop::Lock lock(mServer->loop());
  if (mLoss) return mLoss;
  if (!mConnection) return connectionLost;
  Port port{.labels = labels, .node = makeNode(labels)};
  if (const auto& problem = port.node->problem()) return Failure{status::ioFailure, *problem};
  mPorts.emplace(labels.port, std::move(port));
  return std::nullopt;
}

void PipeWireMidi::removePort(Ref port) {
  const Loop::Lock lock(mServer->loop());
  mPorts.erase(port);
  for (auto route = mRoutes.begin(); route != mRoutes.end();) {
    const auto next = std::next(route);
    if (route->second.port == port) dropRoute(route);
    route = next;
  }
}

/// Removes a route. What has not left is lost.
void PipeWireMidi::dropRoute(std::map<Ref, Route>::iterator route) {
  const backend::MidiBacklog backlog = route->second.node->backlog();
  add(mLost, backlog.waiting);
  add(mLost, backlog.lost);
  // The port's node can serve another route.
  const auto port = mPorts.find(route->second.port);
  if (port != mPorts.end() && port->second.node == route->second.node) port->second.isUsed = false;
  mRoutes.erase(route);
}

// ---- routes

PipeWireMidi::Route& PipeWireMidi::makeRoute(Port& port, Ref endpoint, Ref handle) {
  Route route{.port = port.labels.port, .endpoint = endpoint, .isInput = port.labels.isInput};
  route.node = std::exchange(port.isUsed, true) ? makeNode(port.labels) : port.node;
  route.node->setRoute(handle);
  return mRoutes.emplace(handle, std::move(route)).first->second;
}

std::optional<Failure> PipeWireMidi::connect(Ref port, Ref endpoint, Ref& route) {
  const std::lock_guard control(mServer->control());
  const Loop::Lock lock(mServer->loop());
  if (mLoss) return mLoss;
  const auto found = mPorts.find(port);
  if (found == mPorts.end()) return Failure{status::badParameter, "the port was disposed"};
  const auto known = std::ranges::find_if(
      mRoutes, [&](const auto& entry) { return entry.second.port == port && entry.second.endpoint == endpoint; });
  const bool isKnown = known != mRoutes.end();
  route = isKnown ? known->first : mCatalogue.newHandle();
  (isKnown ? known->second : makeRoute(found->second, endpoint, route)).isWanted = true;
  auto failed = awaitRoute(route);
  const auto made = mRoutes.find(route);
  if (failed && !isKnown && made != mRoutes.end()) dropRoute(made);
  return failed;
}

/// Waits until a route carries what is sent. With both locks.
std::optional<Failure> PipeWireMidi::awaitRoute(Ref handle) {
  const HostTime end = mServices.scheduler->clock().now() + answerLimit;
  while (true) {
    const auto found = mRoutes.find(handle);
    if (mLoss) return mLoss;
    if (found == mRoutes.end()) return Failure{status::badParameter, "the port was disposed"};
    Route& route = found->second;
    if (const auto& problem = route.node->problem()) return Failure{status::ioFailure, *problem};
    const std::string what = "the MIDI endpoint \"" + mCatalogue.nameOf(route.endpoint) + "\"";
    if (!mCatalogue.portOf(route.endpoint)) return Failure{status::deviceLost, what + " was removed"};
    follow(route);
    if (isUp(route)) return std::nullopt;
    if (mServices.scheduler->clock().now() > end) {
      const std::string reason = route.refusal.empty() ? " within 2 s" : ": " + route.refusal;
      return Failure{status::stalled, "the sound server did not link " + what + reason};
    }
    mServer->loop().waitUntil([] { return false; }, pollPeriod);
  }
}

/// Links a route, if it is not linked yet; again only after a pause. Returns whether a link was made in place of one
/// that carried data.
bool PipeWireMidi::follow(Route& route) {
  const auto own = route.node->port();
  const auto theirs = mCatalogue.portOf(route.endpoint);
  if (!own || !theirs) return false;
  const std::uint32_t from = route.isInput ? *theirs : *own;
  const std::uint32_t to = route.isInput ? *own : *theirs;
  if (route.link && !route.link->isGone() && route.link->joins(from, to)) return false;
  if (route.link) route.refusal = route.link->refusal();
  const HostTime now = mServices.scheduler->clock().now();
  if (now < route.nextLinkTime) return false;
  const bool wasActive = route.link && route.link->wasActive();
  route.activeSince = HostTime::zero();
  route.nextLinkTime = now + retryTime;
  // A link may be refused because another program made it at the same time, or removed at once.
  mWorker->postAt(route.nextLinkTime, [this] { update(); });
  const auto& links = mConnection->inventory().links;
  const auto existing = std::ranges::find_if(
      links, [from, to](const auto& entry) { return entry.second.outputPort == from && entry.second.inputPort == to; });
  route.link = existing != links.end() ? Link::observe(*mConnection, existing->first, existing->second)
                                       : Link::make(*mConnection, from, to, nullptr);
  return wasActive;
}

/// Returns whether the route carries what is sent. The server calls a link active before both ends use it.
bool PipeWireMidi::isUp(Route& route) {
  if (!route.link || !route.link->isActive()) {
    route.activeSince = HostTime::zero();
    return false;
  }
  const HostTime now = mServices.scheduler->clock().now();
  if (route.activeSince == HostTime::zero()) route.activeSince = now;
  return now - route.activeSince >= settleTime && (route.isInput || route.node->cycles() >= settleCycles);
}

void PipeWireMidi::listen(Ref route, bool isConnected) {
  const Loop::Lock lock(mServer->loop());
  const auto found = mRoutes.find(route);
  if (found == mRoutes.end()) return;
  found->second.node->setListening(isConnected);
  found->second.isWanted = isConnected;
  if (!isConnected) found->second.link.reset();
}

// ---- sending

bool PipeWireMidi::send(const MidiEvent& event) {
  const Loop::Lock lock(mServer->loop());
  const auto found = mRoutes.find(event.endpoint);
  // What nobody can get any more is dropped; the loss was reported.
  if (found == mRoutes.end() || found->second.isGone || mLoss) {
    add(mLost, {1, event.bytes.size()});
    return true;
  }
  return isUp(found->second) && found->second.node->send(event);
}

std::size_t PipeWireMidi::discard(Ref route) {
  const Loop::Lock lock(mServer->loop());
  const auto found = mRoutes.find(route);
  return found == mRoutes.end() ? 0 : found->second.node->discard();
}

backend::MidiBacklog PipeWireMidi::backlog() const {
  const Loop::Lock lock(mServer->loop());
  backend::MidiBacklog sum{.lost = mLost};
  for (const auto& [handle, route] : mRoutes) {
    const backend::MidiBacklog backlog = route.node->backlog();
    add(route.isGone || mLoss ? sum.lost : sum.waiting, backlog.waiting);
    add(sum.lost, backlog.lost);
  }
  return sum;
}

bool PipeWireMidi::isIdle() const {
  const Loop::Lock lock(mServer->loop());
  return mLoss || std::ranges::all_of(
                      mRoutes, [](const auto& entry) { return entry.second.isGone || entry.second.node->isIdle(); });
}

bool PipeWireMidi::isIdle(Ref port) const {
  const Loop::Lock lock(mServer->loop());
  return mLoss || std::ranges::all_of(mRoutes, [port](const auto& entry) {
           const Route& route = entry.second;
           return route.port != port || route.isGone || route.node->isIdle();
         });
}

bool PipeWireMidi::flush() {
  const platform::Clock& clock = mServices.scheduler->clock();
  const std::lock_guard control(mServer->control());
  const Loop::Lock lock(mServer->loop());
  HostTime lastProgress = clock.now();
  std::uint64_t left = backlog().waiting.packets;
  while (!isIdle()) {
    if (clock.now() - lastProgress > stallLimit) return false;
    mServer->loop().waitUntil([] { return false; }, pollPeriod);
    const std::uint64_t before = std::exchange(left, backlog().waiting.packets);
    if (left != before) lastProgress = clock.now();
  }
  return true;
}

}  // namespace orvane::pipewire
