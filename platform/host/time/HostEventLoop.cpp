// SPDX-License-Identifier: MIT
#include "platform/host/time/HostEventLoop.h"

#include <utility>

namespace orvane::host {

HostEventLoop::HostEventLoop(std::shared_ptr<platform::Scheduler> scheduler)
    : mScheduler(std::move(scheduler)), mWaiter(mScheduler->makeWaiter()) {}

HostEventLoop::~HostEventLoop() {
  if (mWatchesSignals) ProcessSignals::remove(*this);
}

void HostEventLoop::watchSignals() {
  if (mWatchesSignals) return;
  ProcessSignals::add(*this);
  mWatchesSignals = true;
}

int HostEventLoop::run() {
  if (!hasSignal()) ProcessSignals::expectFirst();
  for (;;) {
    if (const auto end = takeEnd()) return *end;
    if (const Task task = takeTask()) {
      task();
    } else {
      mWaiter->wait(platform::Waiter::forever);
    }
  }
}

bool HostEventLoop::hasSignal() {
  const std::lock_guard lock(mMutex);
  return mSignal != 0;
}

/// If the current run is over, returns its result and forgets it, so that the next call does not return it again.
/// Otherwise returns `std::nullopt`.
std::optional<int> HostEventLoop::takeEnd() {
  const std::lock_guard lock(mMutex);
  if (mSignal == 0 && (!mStopAfter || mTaken < *mStopAfter)) return std::nullopt;
  mStopAfter.reset();
  return std::exchange(mSignal, 0);
}

HostEventLoop::Task HostEventLoop::takeTask() {
  const std::lock_guard lock(mMutex);
  if (mTasks.empty()) return nullptr;
  Task task = std::move(mTasks.front());
  mTasks.pop_front();
  ++mTaken;
  return task;
}

void HostEventLoop::post(std::function<void()> task) {
  {
    const std::lock_guard lock(mMutex);
    mTasks.push_back(std::move(task));
    ++mPosted;
  }
  mWaiter->signal();
}

void HostEventLoop::stop() {
  {
    const std::lock_guard lock(mMutex);
    if (!mStopAfter) mStopAfter = mPosted;
  }
  mWaiter->signal();
}

void HostEventLoop::signalled(int signal) {
  {
    const std::lock_guard lock(mSignalNotices->mutex);
    for (auto next = mSignalNotices->notices.begin(); next != mSignalNotices->notices.end();) (*next++)(signal);
  }
  {
    const std::lock_guard lock(mMutex);
    // The result of the run is the first signal; later signals request the same stop.
    if (mSignal == 0) mSignal = signal;
  }
  mWaiter->signal();
}

platform::Subscription HostEventLoop::onSignal(std::function<void(int)> notice) {
  const std::lock_guard lock(mSignalNotices->mutex);
  const auto place = mSignalNotices->notices.insert(mSignalNotices->notices.end(), std::move(notice));
  const auto unsubscribe = [list = mSignalNotices, place](void*) {
    const std::lock_guard guard(list->mutex);
    list->notices.erase(place);
  };
  return platform::Subscription(std::shared_ptr<void>(mSignalNotices.get(), unsubscribe));
}

}  // namespace orvane::host
