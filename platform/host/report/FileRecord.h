// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/FileReport.h"

namespace orvane::host {

/// The files that a host wrote, and the slices that did not get into them. Any thread; not real-time safe.
class FileRecord {
 public:
  void completed(platform::WrittenFile file) {
    const std::lock_guard lock(mMutex);
    mWritten.push_back(std::move(file));
  }
  std::vector<platform::WrittenFile> written() const {
    const std::lock_guard lock(mMutex);
    return mWritten;
  }

  void addOverruns(std::uint64_t slices) { mOverruns += slices; }
  std::uint64_t overruns() const { return mOverruns; }

 private:
  mutable std::mutex mMutex;
  std::vector<platform::WrittenFile> mWritten;
  std::atomic<std::uint64_t> mOverruns = 0;
};

}  // namespace orvane::host
