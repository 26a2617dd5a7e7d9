#pragma once

#include <mutex>
#include <optional>
#include <utility>

#include "platform/Report.h"

namespace orvane::host {

/// Keeps what the recording that was completed last came to. Any thread but the device callback.
class WrittenFileRecord {
 public:
  void record(platform::WrittenFile file) {
    const std::lock_guard lock(mMutex);
    mLast = std::move(file);
  }
  std::optional<platform::WrittenFile> last() const {
    const std::lock_guard lock(mMutex);
    return mLast;
  }

 private:
  mutable std::mutex mMutex;
  std::optional<platform::WrittenFile> mLast;
};

}  // namespace orvane::host
