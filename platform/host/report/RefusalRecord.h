// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <optional>
#include <utility>

#include "platform/Failure.h"

namespace orvane::host {

/// The host call that was refused last. Any thread; not real-time safe.
class RefusalRecord {
 public:
  void record(platform::Failure failure) {
    const std::lock_guard lock(mMutex);
    mLast = std::move(failure);
  }
  std::optional<platform::Failure> last() const {
    const std::lock_guard lock(mMutex);
    return mLast;
  }

 private:
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mLast;
};

}  // namespace orvane::host
