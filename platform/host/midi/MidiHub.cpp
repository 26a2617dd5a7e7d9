// SPDX-License-Identifier: MIT
#include "platform/host/midi/MidiHub.h"

#include <semaphore.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "platform/Waiter.h"
#include "platform/host/ExitHook.h"
#include "platform/host/time/NoWait.h"
#include "platform/host/time/SemaphoreWait.h"

namespace orvane::host {

using platform::Failure;
using platform::MidiObjectRef;
namespace status = platform::status;

namespace {

/// How often the hub looks whether a port that was removed has sent everything.
constexpr platform::HostTime minPortPeriod = std::chrono::milliseconds(100);
constexpr platform::HostTime maxPortPeriod = std::chrono::hours(1);
/// How long nothing is taken at the exit of the process until the rest is given up.
constexpr std::chrono::seconds stallLimit(1);

/// Waits at the exit of the process, which may come from a worker's task. Returns false if nobody can wait there: in
/// simulated time, which stands still.
bool pauseAtExit(platform::Scheduler& scheduler, platform::HostTime time) {
  if (!NoWaitSection::isInTask() && !NoWaitSection::isInCallback()) {
    scheduler.makeWaiter()->wait(time);
    return true;
  }
  if (scheduler.isSimulated()) return false;
  sem_t never;
  sem_init(&never, 0, 0);
  waitForSemaphore(never, std::chrono::steady_clock::now().time_since_epoch() + time);
  sem_destroy(&never);
  return true;
}

}  // namespace

MidiHub::MidiHub(std::shared_ptr<HostContext> context, std::unique_ptr<backend::MidiTransport> transport)
    : mContext(std::move(context)),
      mTransport(std::move(transport)),
      mInbox([this] {
        warnOfDrops();
        checkActivity();
      }),
      mOutbox(mContext->scheduler->clock(), [this] { checkActivity(); }),
      mNotices(mContext->notices()) {
  if (!mTransport) return;
  {
    // A change that is reported meanwhile belongs behind the objects that it changes.
    const std::lock_guard lock(mInventoryMutex);
    mInventory.update(mTransport->attach(*this));
  }
  ExitHook::add(this, [this] { finishAtExit(); });
}

MidiHub::~MidiHub() {
  if (!mTransport) return;
  ExitHook::remove(this);
  for (const auto& worker : {mSender.get(), mReceiver.get()}) {
    if (worker != nullptr) worker->cancel();
  }
  mTransport->detach();
  mInbox.stop();
}

/// Delivers the packets that are due at the exit of the process, and completes the transport's files. Packets that
/// nobody takes are a failure.
void MidiHub::finishAtExit() {
  deliverAtExit();
  if (mIsLost) return;
  const std::size_t lost = mOutbox.numberDue() + mTransport->backlog().waiting.packets;
  if (lost == 0) return;
  endpointLost(
      {status::stalled, std::to_string(lost) + " MIDI packets were lost: no destination took any for a second"});
}

/// Waits until all packets that are due have left, as long as any do.
void MidiHub::deliverAtExit() {
  const platform::Clock& clock = mContext->scheduler->clock();
  platform::HostTime lastProgress = clock.now();
  std::size_t left = SIZE_MAX;
  do {
    if (!mIsLost) mOutbox.drainAtExit();
    // Gives up by itself if nothing leaves.
    if (!mTransport->flush() || mIsLost) return;
    const std::size_t due = mOutbox.numberDue();
    if (due == 0) return;
    if (std::exchange(left, due) > due) {
      lastProgress = clock.now();
    } else if (!pauseAtExit(*mContext->scheduler, mTransport->limits().retry)) {
      return;
    }
  } while (clock.now() - lastProgress <= stallLimit);
}

platform::MidiCount MidiHub::sent() const {
  platform::MidiCount count = mOutbox.handedOut();
  if (!mTransport) return count;
  const backend::MidiBacklog backlog = mTransport->backlog();
  for (const platform::MidiCount& other : {backlog.waiting, backlog.lost}) {
    count.packets -= std::min(count.packets, other.packets);
    count.bytes -= std::min(count.bytes, other.bytes);
  }
  return count;
}

void MidiHub::setAnnounce(Announce announce) {
  const std::lock_guard lock(mAnnounceMutex);
  mAnnounce = std::move(announce);
}

std::optional<Failure> MidiHub::whyUnavailable() const {
  if (!mTransport) return Failure{status::noDevice, "the host has no MIDI"};
  if (mIsLost) return failure();
  return mTransport->whyUnavailable();
}

std::optional<Failure> MidiHub::start() {
  const std::lock_guard lock(mStartMutex);
  if (auto why = whyUnavailable()) return why;
  if (mIsStarted) return std::nullopt;
  if (auto failed = startWorkers()) return failed;
  if (auto failed = mTransport->start()) return failed;
  mIsStarted = true;
  return std::nullopt;
}

std::optional<Failure> MidiHub::startWorkers() try {
  using Priority = platform::Scheduler::Priority;
  if (!mSender) mSender = mContext->scheduler->makeWorker("midi sender", Priority::realTime);
  if (!mReceiver) mReceiver = mContext->scheduler->makeWorker("midi receiver", Priority::realTime);
  mOutbox.start(*mSender, *mTransport);
  mInbox.start(*mReceiver, weak_from_this(), mTransport->limits().joinsExclusive);
  return std::nullopt;
} catch (const std::system_error& error) {
  return Failure{status::ioFailure, std::string("no thread can be started: ") + error.what()};
}

void MidiHub::updateListening(platform::MidiObjectRef source) {
  const std::lock_guard lock(mListenMutex);
  const bool isConnected = mInbox.isConnected(source);
  const bool isNew = isConnected ? mListened.insert(source).second : mListened.erase(source) > 0;
  if (isNew) mTransport->listen(source, isConnected);
}

// ---- what the transport reports

/// Logs the first loss, which the transport's real-time thread only counts.
void MidiHub::warnOfDrops() {
  if (mDropped == 0 || std::exchange(mHasWarned, true)) return;
  mContext->log->write(platform::LogLevel::warning, "MIDI events arrive faster than they are delivered: some are lost");
}

void MidiHub::changed(backend::MidiChange change) {
  {
    const std::lock_guard lock(mInventoryMutex);
    mInventory.update(std::move(change.objects));
  }
  const std::lock_guard lock(mAnnounceMutex);
  if (mAnnounce && change.notification.kind != 0) mAnnounce(change.notification);
}

void MidiHub::lost(Failure failure) {
  {
    const std::lock_guard lock(mEndMutex);
    if (mIsLost) return;
    mFailure = failure;
    mIsLost = true;
  }
  // Not with the mutex: the log's sink may use the service.
  mContext->log->write(platform::LogLevel::warning, "MIDI ended: " + failure.reason);
  // Before the notices, because who gets one may ask whether anything still waits.
  mOutbox.stop();
  const std::lock_guard lock(mEndMutex);
  mNotices.announce();
}

void MidiHub::endpointLost(Failure failure) {
  // Not with the mutex: the log's sink may use the service.
  mContext->log->write(platform::LogLevel::warning, failure.reason);
  const std::lock_guard lock(mEndMutex);
  if (mFailure) return;
  mFailure = std::move(failure);
  mNotices.announce();
}

std::optional<Failure> MidiHub::connect(MidiObjectRef port, MidiObjectRef endpoint, MidiObjectRef& route) {
  auto failed = mTransport->connect(port, endpoint, route);
  if (failed) return failed;
  const std::lock_guard lock(mPortsMutex);
  mRoutes[port].insert(route);
  return std::nullopt;
}

void MidiHub::removePort(MidiObjectRef port, bool isInput) {
  {
    const std::lock_guard lock(mPortsMutex);
    if (isInput) mRoutes.erase(port);
    if (!isInput) mEndedPorts.insert(port);
    if (!isInput) mHasEndedPorts = true;
  }
  if (isInput) return mTransport->removePort(port);
  removeEndedPorts(!isActive());
  watchEndedPorts();
}

/// Returns whether everything that was sent from a port has left. Called with the mutex of the ports locked.
bool MidiHub::isDone(MidiObjectRef port) {
  return mTransport->isIdle(port) &&
         std::ranges::all_of(mRoutes[port], [this](MidiObjectRef route) { return mOutbox.isEmpty(route); });
}

/// Removes the ended ports from which nothing waits to be sent; `isIdle` tells that this holds for all.
void MidiHub::removeEndedPorts(bool isIdle) {
  if (!mHasEndedPorts) return;
  std::vector<MidiObjectRef> done;
  {
    const std::lock_guard lock(mPortsMutex);
    std::ranges::copy_if(mEndedPorts, std::back_inserter(done),
                         [this, isIdle](MidiObjectRef port) { return isIdle || isDone(port); });
    for (const MidiObjectRef port : done) {
      mEndedPorts.erase(port);
      mRoutes.erase(port);
    }
    mHasEndedPorts = !mEndedPorts.empty();
  }
  for (const MidiObjectRef port : done) mTransport->removePort(port);
}

/// Removes the ended ports one after the other while other ports or players are in use.
void MidiHub::watchEndedPorts() {
  {
    const std::lock_guard lock(mPortsMutex);
    mPortPeriod = minPortPeriod;
    if (mEndedPorts.empty() || std::exchange(mWatchesPorts, true)) return;
  }
  const platform::Clock& clock = mContext->scheduler->clock();
  mSender->repeatAt(clock.now() + minPortPeriod, [this, &clock]() -> std::optional<platform::HostTime> {
    removeEndedPorts(false);
    const std::lock_guard lock(mPortsMutex);
    mWatchesPorts = !mEndedPorts.empty();
    if (!mWatchesPorts) return std::nullopt;
    // Longer and longer, because a packet may wait for hours.
    mPortPeriod = std::min(2 * mPortPeriod, maxPortPeriod);
    return clock.now() + mPortPeriod;
  });
}

std::optional<Failure> MidiHub::failure() const {
  const std::lock_guard lock(mEndMutex);
  return mFailure;
}

// ---- activity

void MidiHub::sourcePlays(int count) {
  mSourceHasPlayed = true;
  mPlayingSources += count;
  checkActivity();
}

void MidiHub::playerPlays(int count) {
  mPlayers += count;
  checkActivity();
}

bool MidiHub::isActive() const {
  return mPlayingSources > 0 || mPlayers > 0 || !mOutbox.isEmpty() || !mInbox.isEmpty() ||
         (mTransport && !mTransport->isIdle());
}

/// Announces the end of the activity if there is none any more. Each part of the hub calls this function after it has
/// become inactive, so the last one finds that all are.
void MidiHub::checkActivity() {
  if (isActive()) return;
  removeEndedPorts(true);
  const std::lock_guard lock(mEndMutex);
  mHasEnded = true;
  mNotices.announce();
}

platform::Subscription MidiHub::onActivityEnd(std::function<void()> notice) {
  const std::lock_guard lock(mEndMutex);
  return mNotices.subscribe(std::move(notice), mFailure || (mHasEnded && !isActive()));
}

}  // namespace orvane::host
