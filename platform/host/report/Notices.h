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

/// The worker on which all notices of a host run, made when it is first needed. Any thread; not real-time safe.
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

/// The subscribers of one event. Any thread; not real-time safe.
class Notices {
 public:
  explicit Notices(NoticeWorker& worker) : mWorker(worker) {}

  /// Calls `notice` on the worker at every `announce`. See `platform::Subscription` for its end.
  platform::Subscription subscribe(std::function<void()> notice, bool immediately);
  /// Runs every notice soon. Calls no notice itself, so the caller may hold locks.
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
