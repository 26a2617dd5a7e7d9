// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>

#include "platform/DeviceReport.h"
#include "platform/PlatformError.h"
#include "platform/Subscription.h"
#include "platform/host/report/Notices.h"

namespace orvane::host {

/// The record of whether and why the run has ended by itself. It notifies subscribers of the end. Thread-safe; only
/// `end` is real-time safe.
class RunEnd {
 public:
  explicit RunEnd(NoticeWorker& worker) : mNotices(worker) {}

  /// The reason of an end, and the failure if `end` is `failed`.
  struct Record {
    platform::DeviceEnd end = platform::DeviceEnd::none;
    std::optional<platform::Failure> failure = {};
  };
  /// Clears the recorded end before a start of the device, and returns the previous record.
  Record clear();
  /// Records `earlier` again after a failed start, unless another end was recorded meanwhile. Does not notify
  /// subscribers.
  void restore(Record earlier);
  /// Records the end and notifies the subscribers; does nothing if an end is already recorded. `failure` is set only if
  /// `end` is `DeviceEnd::failed`.
  void set(platform::DeviceEnd end, std::optional<platform::Failure> failure);

  /// Returns the reason of the end, or `none` if the run has not ended. Real-time safe.
  platform::DeviceEnd end() const { return mEnd; }
  /// Returns the failure that ended the run, or `std::nullopt` if there is none.
  std::optional<platform::Failure> failure() const;
  /// Subscribes a notice, see `platform::RunControl::onDeviceEnd`.
  platform::Subscription onEnd(std::function<void()> notice);

 private:
  mutable std::mutex mMutex;
  std::atomic<platform::DeviceEnd> mEnd = platform::DeviceEnd::none;
  std::optional<platform::Failure> mFailure;
  Notices mNotices;
};

}  // namespace orvane::host
