// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/Waiter.h"
#include "platform/Worker.h"
#include "platform/host/time/SteadyClock.h"

namespace orvane::host {

/// The scheduler for real time ("real pace"): each worker is a thread, and the clock is the system's monotonic one.
class RealPace final : public platform::Scheduler {
 public:
  /// Creates a scheduler. If the system refuses real-time scheduling, this is written to `log` once.
  explicit RealPace(std::shared_ptr<platform::Log> log);

  const platform::Clock& clock() const override { return mClock; }
  bool isSimulated() const override { return false; }
  std::unique_ptr<platform::Worker> makeWorker(const std::string& name, Priority priority) override;
  std::unique_ptr<platform::Waiter> makeWaiter() override;

 private:
  void requestRealTime();

  const SteadyClock mClock;
  std::shared_ptr<platform::Log> mLog;
  std::atomic<bool> mRefusalLogged = false;
};

}  // namespace orvane::host
