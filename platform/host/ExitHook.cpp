#include "platform/host/ExitHook.h"

#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

namespace orvane::host {

namespace {

struct Hooks {
  std::mutex mutex;
  std::vector<std::pair<const void*, std::function<void()>>> works;
};

/// Never destroyed: the exit runs it, whatever else is gone by then.
Hooks& hooks() {
  static Hooks& instance = *[] {
    std::atexit([] {
      std::vector<std::pair<const void*, std::function<void()>>> works;
      {
        const std::lock_guard lock(hooks().mutex);
        works.swap(hooks().works);
      }
      for (const auto& [owner, work] : works) work();
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
