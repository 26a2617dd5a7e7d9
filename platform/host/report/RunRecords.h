// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/FileReport.h"
#include "platform/PlatformError.h"
#include "platform/Subscription.h"
#include "platform/host/report/Notices.h"

// Records that a host keeps for its reports. All are thread-safe. They lock a mutex, so none is real-time safe.

namespace orvane::host {

/// The record of completed recordings and of the number of slices (callback blocks) dropped from files.
class FileRecord {
 public:
  void completed(platform::WrittenFile file) {
    const std::lock_guard lock(mMutex);
    mWritten.push_back(std::move(file));
  }
  /// Returns the completed recordings, in order of completion.
  std::vector<platform::WrittenFile> written() const {
    const std::lock_guard lock(mMutex);
    return mWritten;
  }

  void addOverruns(std::uint64_t slices) { mOverruns += slices; }
  std::uint64_t overruns() const { return mOverruns; }

 private:
  mutable std::mutex mMutex;
  std::vector<platform::WrittenFile> mWritten;
  std::atomic<std::uint64_t> mOverruns = 0;
};

/// The record of the host call that was refused last.
class RefusalRecord {
 public:
  void record(platform::Failure failure) {
    const std::lock_guard lock(mMutex);
    mLast = std::move(failure);
  }
  /// Returns the last refusal, or `std::nullopt` before the first one.
  std::optional<platform::Failure> last() const {
    const std::lock_guard lock(mMutex);
    return mLast;
  }

 private:
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mLast;
};

/// The record of the first failure of something that runs in the background, such as writing files.
class FirstFailure {
 public:
  explicit FirstFailure(NoticeWorker& worker) : mNotices(worker) {}

  /// If `failure` is the first, stores it and makes the subscribed notices run soon; otherwise does nothing.
  void record(platform::Failure failure) {
    const std::lock_guard lock(mMutex);
    if (mFirst) return;
    mFirst = std::move(failure);
    mNotices.announce();
  }
  /// Returns the first failure, or `std::nullopt` if there was none.
  std::optional<platform::Failure> first() const {
    const std::lock_guard lock(mMutex);
    return mFirst;
  }
  /// Subscribes a notice that is called after the first failure; soon if there was one.
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
