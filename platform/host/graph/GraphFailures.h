// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/PlatformError.h"
#include "platform/Subscription.h"
#include "platform/host/report/Notices.h"

namespace orvane::host {

/// The record of an engine's failures behind the caller's back: the first one of the current run, and the one that has
/// ended the installed tap, which lasts as long as the tap. Thread-safe; not real-time safe.
class GraphFailures {
 public:
  explicit GraphFailures(NoticeWorker& worker) : mNotices(worker) {}

  /// Records a failure of the run, unless there was one before.
  void record(platform::Failure failure) { keep(mOfRun, std::move(failure)); }
  /// Records the failure of the tap.
  void recordOfTap(platform::Failure failure) { keep(mOfTap, std::move(failure)); }

  /// Makes the failure of the tap one of the run, because the tap has failed while it was removed and the caller has
  /// yet to learn of it.
  void detachFromTap() {
    const std::lock_guard lock(mMutex);
    if (!mOfRun || mTapIsFirst) mOfRun = mOfTap;
    mOfTap.reset();
  }
  /// Forgets the failure of the tap.
  void forgetOfTap() {
    const std::lock_guard lock(mMutex);
    mOfTap.reset();
  }
  /// Forgets the failure of the run.
  void forgetOfRun() {
    const std::lock_guard lock(mMutex);
    mOfRun.reset();
  }

  /// Returns the earlier one of the failures, or `std::nullopt` if there is none.
  std::optional<platform::Failure> first() const {
    const std::lock_guard lock(mMutex);
    return mOfTap && (mTapIsFirst || !mOfRun) ? mOfTap : mOfRun;
  }
  /// Subscribes a notice that is called each time `first` begins to return a failure; soon if it does already.
  platform::Subscription onFirst(std::function<void()> notice) {
    const std::lock_guard lock(mMutex);
    return mNotices.subscribe(std::move(notice), mOfRun || mOfTap);
  }

 private:
  void keep(std::optional<platform::Failure>& place, platform::Failure failure) {
    const std::lock_guard lock(mMutex);
    if (place) return;
    const bool isFirst = !mOfRun && !mOfTap;
    place = std::move(failure);
    if (!isFirst) return;
    mTapIsFirst = &place == &mOfTap;
    mNotices.announce();
  }

  mutable std::mutex mMutex;
  std::optional<platform::Failure> mOfRun;
  std::optional<platform::Failure> mOfTap;
  bool mTapIsFirst = false;  ///< If there are two failures, that of the tap came first.
  Notices mNotices;
};

}  // namespace orvane::host
