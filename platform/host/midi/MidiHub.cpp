// SPDX-License-Identifier: MIT
#include "platform/host/midi/MidiHub.h"

#include <string>
#include <system_error>
#include <utility>

#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "platform/host/ExitHook.h"

namespace orvane::host {

using platform::Failure;
namespace status = platform::status;

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

/// Hands out the packets that are due at the exit of the process, and completes the transport's files.
void MidiHub::finishAtExit() {
  if (!mIsLost) mOutbox.drainAtExit();
  mTransport->flush();
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

void MidiHub::removePort(platform::MidiObjectRef port, bool isInput) {
  if (isInput) return mTransport->removePort(port);
  {
    const std::lock_guard lock(mEndedPortsMutex);
    mEndedPorts.push_back(port);
    mHasEndedPorts = true;
  }
  if (!isActive()) removeEndedPorts();
}

void MidiHub::removeEndedPorts() {
  if (!mHasEndedPorts.exchange(false)) return;
  std::vector<platform::MidiObjectRef> ended;
  {
    const std::lock_guard lock(mEndedPortsMutex);
    ended.swap(mEndedPorts);
  }
  for (const platform::MidiObjectRef port : ended) mTransport->removePort(port);
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
  removeEndedPorts();
  const std::lock_guard lock(mEndMutex);
  mHasEnded = true;
  mNotices.announce();
}

platform::Subscription MidiHub::onActivityEnd(std::function<void()> notice) {
  const std::lock_guard lock(mEndMutex);
  return mNotices.subscribe(std::move(notice), mFailure || (mHasEnded && !isActive()));
}

}  // namespace orvane::host
