#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/Report.h"

namespace orvane::host {

/// Keeps the first failure of a kind until somebody asks. Any thread but the device callback.
class FailureRecord {
 public:
  void record(platform::Failure failure) {
    std::function<void()> notice;
    {
      const std::lock_guard lock(mMutex);
      if (mFirst) return;
      mFirst = std::move(failure);
      notice = std::exchange(mNotice, nullptr);
    }
    if (notice) notice();
  }
  std::optional<platform::Failure> first() const {
    const std::lock_guard lock(mMutex);
    return mFirst;
  }
  /// `notice` runs once, where the first failure is recorded; here and now where it already is.
  void onFirst(std::function<void()> notice) {
    {
      const std::lock_guard lock(mMutex);
      if (!mFirst) {
        mNotice = std::move(notice);
        return;
      }
    }
    if (notice) notice();
  }

 private:
  mutable std::mutex mMutex;
  std::optional<platform::Failure> mFirst;
  std::function<void()> mNotice;
};

}  // namespace orvane::host
