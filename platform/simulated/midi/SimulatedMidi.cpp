// SPDX-License-Identifier: MIT
#include "platform/simulated/midi/SimulatedMidi.h"

#include <algorithm>
#include <utility>

#include "platform/Scheduler.h"
#include "platform/Status.h"

namespace orvane::simulated {

using backend::MidiObject;
using platform::Failure;
using platform::HostTime;
using platform::MidiNotification;
using platform::MidiObjectKind;
using platform::MidiObjectRef;

namespace {

constexpr char loopName[] = "Loopback";
/// The host clock at the creation of the host, at both paces.
constexpr HostTime creation = std::chrono::seconds(1);

/// Returns the endpoint of the virtual loop-back of a kind; `none` if there is no such endpoint.
MidiObjectRef findLoopEnd(const std::vector<MidiObject>& objects, MidiObjectKind kind) {
  const auto end = std::ranges::find_if(
      objects, [kind](const MidiObject& object) { return object.kind == kind && object.name == loopName; });
  return end == objects.end() ? MidiObjectRef::none : end->ref;
}

/// Stores the new value of a property in an object.
void setProperty(MidiObject& object, const std::string& property, const platform::Value& value) {
  namespace names = platform::midi_property;
  const auto integer = [&] { return static_cast<std::int32_t>(*value.as<std::int64_t>()); };
  if (property == names::name) object.name = *value.as<std::string>();
  if (property == names::displayName) object.displayName = *value.as<std::string>();
  if (property == names::driverVersion) object.driverVersion = integer();
  if (property == names::offline) object.offline = integer();
  if (!object.properties.isNull()) object.properties.set(property, value);
}

}  // namespace

SimulatedMidi::SimulatedMidi(MidiSettings settings, std::shared_ptr<host::HostContext> context,
                             std::shared_ptr<FaultPlan> faults, bool isFast)
    : mContext(std::move(context)),
      mFaults(std::move(faults)),
      mIsFast(isFast),
      mEvents(std::move(settings.events)),
      mLoopSource(findLoopEnd(settings.objects, MidiObjectKind::source)),
      mLoopDestination(findLoopEnd(settings.objects, MidiObjectKind::destination)),
      mObjects(std::move(settings.objects)) {
  for (const PlayedSource& each : settings.played) mPlaying.push_back({each.source, each.content});
  if (!settings.capture) return;
  // In real time, every line is written at once, so that it can be read while the run goes on.
  const std::size_t blockBytes = isFast ? std::size_t{1} << 16 : 1;
  mCapture = std::make_unique<CaptureFile>(settings.capture->value, blockBytes, mContext);
}

SimulatedMidi::~SimulatedMidi() = default;

std::optional<Failure> SimulatedMidi::whyUnavailable() const {
  if (!mFaults->isInForce(Fault::Kind::serverLost)) return std::nullopt;
  return Failure{platform::status::serverLost, "the sound server was lost"};
}

std::vector<MidiObject> SimulatedMidi::attach(backend::MidiTransportCallback& callback) {
  mCallback = &callback;
  if (!mEvents.empty() && (mIsFast || mEvents.front().at > HostTime::zero())) scheduleEvents();
  const std::lock_guard lock(mObjectsMutex);
  return mObjects;
}

void SimulatedMidi::detach() {
  if (mWorker) mWorker->cancel();
  flush();
}

bool SimulatedMidi::flush() {
  if (mCapture) mCapture->flush();
  return true;
}

std::optional<Failure> SimulatedMidi::start() {
  mFaults->deviceStarts();
  if (auto why = whyUnavailable()) return why;
  if (mCapture) {
    if (auto failure = mCapture->open()) return failure;
  }
  if (!mWorker) mWorker = mContext->scheduler->makeWorker("midi devices", platform::Scheduler::Priority::realTime);
  for (const Fault& fault : mFaults->faults()) {
    if (fault.kind == Fault::Kind::serverLost) mWorker->postAt(mFaults->dueTime(fault), [this] { lose(); });
  }
  if (!mIsFast && !mEvents.empty() && mEvents.front().at == HostTime::zero()) scheduleEvents();
  return std::nullopt;
}

void SimulatedMidi::lose() {
  if (mIsLost.exchange(true)) return;
  mCallback->lost(*whyUnavailable());
}

// ---- sources

void SimulatedMidi::listen(MidiObjectRef source, bool isConnected) {
  const auto playing = std::ranges::find(mPlaying, source, &Playing::source);
  if (!isConnected || playing == mPlaying.end() || playing->isStarted) return;
  playing->isStarted = true;
  playing->startTime = now();
  mCallback->sourcePlays(1);
  const auto& packets = playing->content->packets;
  const HostTime first = packets.empty() ? HostTime::zero() : packets.front().time;
  mCallback->deliveryWorker().repeatAt(
      playing->startTime + first, [this, owner = mCallback->lifetime(), &each = *playing]() -> std::optional<HostTime> {
        const auto alive = owner.lock();
        return alive ? play(each) : std::nullopt;
      });
}

/// Delivers the packets of a source that are due. Returns the time of the next one, or `std::nullopt` at the end.
std::optional<HostTime> SimulatedMidi::play(Playing& playing) {
  const auto& packets = playing.content->packets;
  const HostTime time = now();
  while (!mIsLost && playing.next < packets.size()) {
    const auto& packet = packets[playing.next];
    const HostTime due = playing.startTime + packet.time;
    if (due > time) {
      mCallback->delivered();
      return due;
    }
    mCallback->deliver({due, playing.source, playing.content->bytesOf(packet)});
    ++playing.next;
  }
  mCallback->delivered();
  mCallback->sourcePlays(-1);
  return std::nullopt;
}

// ---- destinations

bool SimulatedMidi::send(const backend::MidiEvent& event) {
  if (mIsLost) return true;
  if (event.endpoint == mLoopDestination && mLoopSource != MidiObjectRef::none) {
    const bool isTaken = mCallback->received({event.time, mLoopSource, event.bytes});
    mCallback->cycleEnded();
    if (!isTaken) return false;
  }
  if (!mCapture) return true;
  const std::lock_guard objects(mObjectsMutex);
  mCapture->add(std::max(event.time, now()) - creation, object(event.endpoint), event.bytes);
  return true;
}

// ---- changes of the inventory

void SimulatedMidi::scheduleEvents() {
  if (!mWorker) mWorker = mContext->scheduler->makeWorker("midi devices", platform::Scheduler::Priority::realTime);
  mWorker->repeatAt(creation + mEvents.front().at, [this] { return runEvents(); });
}

std::optional<HostTime> SimulatedMidi::runEvents() {
  if (mIsLost) return std::nullopt;
  change(mEvents[mNextEvent]);
  // One event a run, so that a program in simulated time handles each notification before the next change.
  if (++mNextEvent == mEvents.size()) return std::nullopt;
  return creation + mEvents[mNextEvent].at;
}

void SimulatedMidi::change(const MidiEventSetting& event) {
  backend::MidiChange change;
  std::unique_lock lock(mObjectsMutex);
  MidiNotification& notification = change.notification;
  notification.kind = event.kind;
  notification.size = sizeof notification;
  if (event.object != MidiObjectRef::none) {
    MidiObject& changed = mObjects[static_cast<std::size_t>(event.object) - 1];
    if (event.kind == MidiNotification::propertyChanged) {
      if (event.value) setProperty(changed, event.property, *event.value);
      notification.object = changed.ref;
      notification.objectKind = changed.kind;
      notification.propertyName = event.property;
    } else {
      changed.isPresent = event.kind == MidiNotification::objectAdded;
      notification.child = changed.ref;
      notification.childKind = changed.kind;
    }
    change.objects.push_back(changed);
  }
  if (event.parent != MidiObjectRef::none) {
    notification.parent = event.parent;
    notification.parentKind = object(event.parent).kind;
  }
  lock.unlock();
  mCallback->changed(std::move(change));
}

}  // namespace orvane::simulated
