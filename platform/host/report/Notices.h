// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/Scheduler.h"
#include "platform/Subscription.h"
#include "platform/Worker.h"

namespace orvane::host {

/// The owner of the worker on which all notices (subscribed functions) of a host run. It creates the worker when it is
/// first needed. Thread-safe; not real-time safe.
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

/// The list of functions ("notices") that are subscribed to one event. Thread-safe; not real-time safe.
class Notices {
 public:
  explicit Notices(NoticeWorker& worker) : mWorker(worker) {}

  /// Subscribes `notice`: it is called on the worker after every `announce`, and also soon after this call if
  /// `immediately` is true, until the returned subscription ends.
  platform::Subscription subscribe(std::function<void()> notice, bool immediately);
  /// Makes every subscribed notice run soon on the worker. The caller may hold locks, because no notice is called on
  /// its thread.
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
