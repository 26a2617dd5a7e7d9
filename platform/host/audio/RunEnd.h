#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>

#include "platform/Report.h"
#include "platform/Worker.h"

namespace orvane::host {

/// How the device's run ended by itself, and who wants to know. Any thread but the device callback.
class RunEnd {
 public:
  /// Notices run on `worker`, which outlives this.
  explicit RunEnd(platform::Worker& worker) : mWorker(worker) {}

  /// The device starts: an earlier end no longer counts.
  void clear();
  /// The first end since the start counts, later ones are dropped. `failure` comes with `DeviceEnd::failed`.
  void set(platform::DeviceEnd end, std::optional<platform::Failure> failure);

  /// Also on the device callback; real-time safe.
  platform::DeviceEnd end() const { return mEnd; }
  std::optional<platform::Failure> failure() const;
  /// See `platform::Report::onDeviceEnd`.
  void onEnd(std::function<void()> notice);

 private:
  platform::Worker& mWorker;
  mutable std::mutex mMutex;
  std::atomic<platform::DeviceEnd> mEnd = platform::DeviceEnd::none;
  std::optional<platform::Failure> mFailure;
  std::function<void()> mNotice;
};

}  // namespace orvane::host
