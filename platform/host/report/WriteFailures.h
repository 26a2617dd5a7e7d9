// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/Failure.h"
#include "platform/host/report/Notices.h"

namespace orvane::host {

/// The first failure of a file write that no caller was told of. Any thread; not real-time safe.
class WriteFailures {
 public:
  explicit WriteFailures(NoticeWorker& worker) : mNotices(worker) {}

  /// Keeps `failure` unless there is one already.
  void record(platform::Failure failure) {
    const std::lock_guard lock(mMutex);
    if (mFirst) return;
    mFirst = std::move(failure);
    mNotices.announce();
  }
  std::optional<platform::Failure> first() const {
    const std::lock_guard lock(mMutex);
    return mFirst;
  }
  platform::Subscription onFirst(std::function<void()> notice) {
    const std::lock_guard lock(mMutex);
    return mNotices.subscribe(std::move(notice), mFirst.has_value());
  }

 private:
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mFirst;
  Notices mNotices;
};

}  // namespace orvane::host
