// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/Scheduler.h"
#include "platform/Waiter.h"
#include "platform/Worker.h"

namespace orvane::host {

/// Runs `task` on `worker`, behind the tasks that are due, and returns when it has ended. Must not be called in a
/// worker's task.
inline void runAndWait(platform::Scheduler& scheduler, platform::Worker& worker, std::function<void()> task) {
  const std::shared_ptr<platform::Waiter> done = scheduler.makeWaiter();
  worker.post([task = std::move(task), done] {
    task();
    done->signal();
  });
  done->wait(platform::Waiter::forever);
}

}  // namespace orvane::host
