// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Scheduler.h"
#include "platform/Subscription.h"

namespace orvane::host {

/// Holds the worker on which all notices of a host run; makes it when it is first needed. Thread-safe; not real-time
/// safe.
class NoticeWorker {
 public:
  explicit NoticeWorker(platform::Scheduler& scheduler) : mScheduler(scheduler) {}

  platform::Worker& worker() {
    const std::lock_guard lock(mMutex);
    if (!mWorker) mWorker = mScheduler.makeWorker("notices");
    return *mWorker;
  }

 private:
  platform::Scheduler& mScheduler;
  std::mutex mMutex;
  std::unique_ptr<platform::Worker> mWorker;
};

/// The subscribers of one event. Thread-safe; not real-time safe.
class Notices {
 public:
  explicit Notices(NoticeWorker& worker) : mWorker(worker) {}

  /// Calls `notice` on the worker after every `announce`, and once soon if `immediately`. Ends with the subscription.
  platform::Subscription subscribe(std::function<void()> notice, bool immediately);
  /// Makes every notice run soon. Calls none itself, so the caller may hold locks.
  void announce();

 private:
  struct List {
    std::mutex mutex;
    std::vector<platform::Trigger*> triggers;  ///< In order of subscription.
  };
  class Registration;

  NoticeWorker& mWorker;
  std::shared_ptr<List> mList = std::make_shared<List>();
};

}  // namespace orvane::host
