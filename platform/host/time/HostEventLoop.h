#pragma once

#include <signal.h>

#include <atomic>
#include <memory>

#include "platform/EventLoop.h"
#include "platform/Scheduler.h"

namespace orvane::host {

/// The host's event loop: a waiter that a stop, a signal or a closed pipe wakes.
class HostEventLoop final : public platform::EventLoop {
 public:
  explicit HostEventLoop(const std::shared_ptr<platform::Scheduler>& scheduler);

  void watchSignals() override;
  int run() override;
  void stop() override;

 private:
  /// Shared with the thread that reads signals, which nothing can end and which so outlives the loop.
  struct Shared {
    std::shared_ptr<platform::Scheduler> scheduler;
    std::unique_ptr<platform::Waiter> waiter;
    std::atomic<int> signal = 0;
  };

  /// Passes on what comes of `signals`, without an end.
  static void readSignals(Shared& shared, const sigset_t& signals);

  std::shared_ptr<Shared> mShared;
  bool mWatchesSignals = false;
};

}  // namespace orvane::host
