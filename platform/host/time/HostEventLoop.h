// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/EventLoop.h"
#include "platform/Scheduler.h"
#include "platform/Waiter.h"
#include "platform/host/time/ProcessSignals.h"

namespace orvane::host {

/// The host's implementation of `platform::EventLoop`: a queue of tasks, and a waiter on which `run` waits for tasks,
/// stops and process signals.
class HostEventLoop final : public platform::EventLoop, private SignalReceiver {
 public:
  explicit HostEventLoop(std::shared_ptr<platform::Scheduler> scheduler);
  ~HostEventLoop() override;

  void watchSignals() override;
  int run() override;
  platform::Subscription onSignal(std::function<void(int)> notice) override;
  void post(std::function<void()> task) override;
  void stop() override;

 private:
  using Task = std::function<void()>;
  /// The functions that are called at a signal. The mutex is recursive, so that they may end their subscriptions.
  struct SignalNotices {
    std::recursive_mutex mutex;
    std::list<std::function<void(int)>> notices;
  };

  void signalled(int signal) override;
  bool hasSignal();
  std::optional<int> takeEnd();
  Task takeTask();

  const std::shared_ptr<platform::Scheduler> mScheduler;
  const std::unique_ptr<platform::Waiter> mWaiter;
  std::mutex mMutex;
  std::deque<Task> mTasks;
  std::uint64_t mPosted = 0;
  std::uint64_t mTaken = 0;
  std::optional<std::uint64_t> mStopAfter;  ///< Number of tasks posted before `stop`; they still run.
  int mSignal = 0;
  bool mWatchesSignals = false;
  const std::shared_ptr<SignalNotices> mSignalNotices = std::make_shared<SignalNotices>();
};

}  // namespace orvane::host
