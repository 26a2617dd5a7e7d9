// SPDX-License-Identifier: MIT
#include "platform/host/ExitHook.h"

#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace orvane::host {

namespace {

struct Hooks {
  std::mutex mutex;
  std::condition_variable workEnded;
  std::deque<std::pair<const void*, std::function<void()>>> works;
  const void* running = nullptr;  ///< The owner of the function that is running.
  std::thread::id exiting;        ///< The thread that runs the functions at exit.
};

void runAtExit(Hooks& hooks) {
  std::unique_lock lock(hooks.mutex);
  hooks.exiting = std::this_thread::get_id();
  while (!hooks.works.empty()) {
    const auto [owner, work] = std::move(hooks.works.front());
    hooks.works.pop_front();
    hooks.running = owner;
    // The mutex is unlocked here, because `work` locks mutexes that other threads hold while they call `add` or
    // `remove`.
    lock.unlock();
    work();
    lock.lock();
    hooks.running = nullptr;
    hooks.workEnded.notify_all();
  }
}

/// Returns the process's list, which is never destroyed because it is used at exit.
Hooks& hooks() {
  static Hooks& instance = *[] {
    std::atexit([] { runAtExit(hooks()); });
    return new Hooks();
  }();
  return instance;
}

}  // namespace

void ExitHook::add(const void* owner, std::function<void()> work) {
  const std::lock_guard lock(hooks().mutex);
  hooks().works.emplace_back(owner, std::move(work));
}

void ExitHook::remove(const void* owner) {
  std::unique_lock lock(hooks().mutex);
  std::erase_if(hooks().works, [owner](const auto& entry) { return entry.first == owner; });
  if (hooks().exiting == std::this_thread::get_id()) return;
  hooks().workEnded.wait(lock, [owner] { return hooks().running != owner; });
}

}  // namespace orvane::host
