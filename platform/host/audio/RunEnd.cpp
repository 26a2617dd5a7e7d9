#include "platform/host/audio/RunEnd.h"

#include <utility>

namespace orvane::host {

using platform::DeviceEnd;

void RunEnd::clear() {
  const std::lock_guard lock(mMutex);
  mEnd = DeviceEnd::none;
  mFailure.reset();
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
