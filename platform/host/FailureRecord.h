#pragma once

#include <mutex>
#include <optional>
#include <utility>

#include "platform/Report.h"

namespace orvane::host {

/// Keeps the first failure of a kind until somebody asks. Any thread but the device callback.
class FailureRecord {
 public:
  void record(platform::Failure failure) {
    const std::lock_guard lock(mMutex);
    if (!mFirst) mFirst = std::move(failure);
  }
  std::optional<platform::Failure> first() const {
    const std::lock_guard lock(mMutex);
    return mFirst;
  }

 private:
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mFirst;
};

}  // namespace orvane::host
