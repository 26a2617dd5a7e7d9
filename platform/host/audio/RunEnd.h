// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>

#include "platform/DeviceReport.h"
#include "platform/Failure.h"
#include "platform/host/report/Notices.h"

namespace orvane::host {

/// The end of a run by itself, and its subscribers. Thread-safe; only `end` is real-time safe.
class RunEnd {
 public:
  explicit RunEnd(NoticeWorker& worker) : mNotices(worker) {}

  /// An end, and its failure if `end` is `failed`.
  struct Record {
    platform::DeviceEnd end = platform::DeviceEnd::none;
    std::optional<platform::Failure> failure = {};
  };
  /// Clears the end before a start, and returns it.
  Record clear();
  /// Restores an end after a failed start, unless another was set meanwhile. Runs no notices.
  void restore(Record earlier);
  /// Sets the end and runs the notices; does nothing if an end is already set. `failure` is given with
  /// `DeviceEnd::failed` only.
  void set(platform::DeviceEnd end, std::optional<platform::Failure> failure);

  /// Returns the end; `none` while there is none. Real-time safe.
  platform::DeviceEnd end() const { return mEnd; }
  std::optional<platform::Failure> failure() const;
  /// See `platform::RunControl::onDeviceEnd`.
  platform::Subscription onEnd(std::function<void()> notice);

 private:
  mutable std::mutex mMutex;
  std::atomic<platform::DeviceEnd> mEnd = platform::DeviceEnd::none;
  std::optional<platform::Failure> mFailure;
  Notices mNotices;
};

}  // namespace orvane::host
