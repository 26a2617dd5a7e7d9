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

/// How the device's run ended by itself, and the subscribers to that. Any thread; real-time safe only where it says so.
class RunEnd {
 public:
  explicit RunEnd(NoticeWorker& worker) : mNotices(worker) {}

  /// An end and its failure.
  struct Record {
    platform::DeviceEnd end = platform::DeviceEnd::none;
    std::optional<platform::Failure> failure = {};
  };
  /// The device starts: an earlier end, which is returned, no longer counts.
  Record clear();
  /// The start failed: the earlier end counts again, unless another came meanwhile. Nobody is told again.
  void restore(Record earlier);
  /// The first end since the start counts, later ones are dropped. `failure` comes with `DeviceEnd::failed`.
  void set(platform::DeviceEnd end, std::optional<platform::Failure> failure);

  /// Real-time safe.
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
