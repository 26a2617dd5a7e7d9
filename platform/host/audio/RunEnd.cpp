// SPDX-License-Identifier: MIT
#include "platform/host/audio/RunEnd.h"

#include <utility>

namespace orvane::host {

using platform::DeviceEnd;

RunEnd::Record RunEnd::clear() {
  const std::lock_guard lock(mMutex);
  return {mEnd.exchange(DeviceEnd::none), std::exchange(mFailure, std::nullopt)};
}

void RunEnd::restore(Record earlier) {
  const std::lock_guard lock(mMutex);
  if (mEnd != DeviceEnd::none) return;
  mFailure = std::move(earlier.failure);
  mEnd = earlier.end;
}

void RunEnd::set(DeviceEnd end, std::optional<platform::Failure> failure) {
  const std::lock_guard lock(mMutex);
  if (mEnd != DeviceEnd::none) return;
  mFailure = std::move(failure);
  mEnd = end;
  mNotices.announce();
}

std::optional<platform::Failure> RunEnd::failure() const {
  const std::lock_guard lock(mMutex);
  return mFailure;
}

platform::Subscription RunEnd::onEnd(std::function<void()> notice) {
  const std::lock_guard lock(mMutex);
  return mNotices.subscribe(std::move(notice), mEnd != DeviceEnd::none);
}

}  // namespace orvane::host
