#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/Report.h"
#include "platform/Scheduler.h"

namespace orvane::host {

/// Keeps the first failure of a kind until somebody asks. Any thread but the device callback.
class FailureRecord {
 public:
  explicit FailureRecord(std::shared_ptr<platform::Scheduler> scheduler) : mScheduler(std::move(scheduler)) {}

  void record(platform::Failure failure) {
    const std::lock_guard lock(mMutex);
    if (mFirst) return;
    mFirst = std::move(failure);
    if (mNotice) mWorker->post(std::exchange(mNotice, nullptr));
  }
  std::optional<platform::Failure> first() const {
    const std::lock_guard lock(mMutex);
    return mFirst;
  }
  /// `notice` runs once, when there is a first failure. It may do anything, so it has a worker of its own: what records
  /// a failure holds locks.
  void onFirst(std::function<void()> notice) {
    const std::lock_guard lock(mMutex);
    if (!mWorker) mWorker = mScheduler->makeWorker("failure notice", platform::Scheduler::Priority::ordinary);
    if (!mFirst) {
      mNotice = std::move(notice);
    } else if (notice) {
      mWorker->post(std::move(notice));
    }
  }

 private:
  const std::shared_ptr<platform::Scheduler> mScheduler;
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mFirst;
  std::function<void()> mNotice;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::host
