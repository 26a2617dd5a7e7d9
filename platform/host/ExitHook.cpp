#include "platform/host/ExitHook.h"

#include <cstdlib>
#include <deque>
#include <mutex>
#include <utility>

namespace orvane::host {

namespace {

struct Hooks {
  /// Held while a work runs, so that its owner cannot go away meanwhile; recursive, as a work may remove itself.
  std::recursive_mutex mutex;
  std::deque<std::pair<const void*, std::function<void()>>> works;
};

/// Never destroyed: the exit runs it, whatever else is gone by then.
Hooks& hooks() {
  static Hooks& instance = *[] {
    std::atexit([] {
      const std::lock_guard lock(hooks().mutex);
      while (!hooks().works.empty()) {
        const std::function<void()> work = std::move(hooks().works.front().second);
        hooks().works.pop_front();
        work();
      }
    });
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
  const std::lock_guard lock(hooks().mutex);
  std::erase_if(hooks().works, [owner](const auto& entry) { return entry.first == owner; });
}

}  // namespace orvane::host
