// SPDX-License-Identifier: MIT
#include "platform/host/audio/StallWatch.h"

#include <algorithm>
#include <utility>

namespace orvane::host {

using namespace std::chrono_literals;
using platform::HostTime;

namespace {

constexpr HostTime minLimit = 500ms;
constexpr double limitSlices = 10;
constexpr HostTime lateness = 10ms;
constexpr HostTime moment = 100ms;

}  // namespace

HostTime StallWatch::limit(const backend::DeviceFormat& format) {
  if (format.sampleRate <= 0) return minLimit;
  const std::chrono::duration<double> slices(limitSlices * format.sliceFrames / format.sampleRate);
  return std::max(minLimit, std::chrono::duration_cast<HostTime>(slices));
}

StallWatch::StallWatch(const platform::Clock& clock, platform::Worker& worker, std::function<void()> onStall)
    : mClock(clock), mWorker(worker), mOnStall(std::move(onStall)) {}

void StallWatch::begin(const backend::DeviceFormat& format) {
  const HostTime now = mClock.now();
  mLimit = limit(format);
  // `mLast` is only increased, so that an interruption that the device reported during its start stays in force.
  HostTime last = mLast;
  while (last < now && !mLast.compare_exchange_weak(last, now)) continue;
  lookAt(++mRun, now + mLimit.load());
}

void StallWatch::callbackEnds() {
  // The time is stored before the flag, so that a reader that sees that the callback has ended also sees when.
  mLast.store(mClock.now(), std::memory_order_release);
  mInside.store(false, std::memory_order_release);
}

void StallWatch::lookAt(Run run, HostTime time) {
  mWorker.postAt(time, [this, run, time] { look(run, time); });
}

void StallWatch::look(Run run, HostTime due) {
  if (run != mRun) return;
  const HostTime allowed = mLimit;
  const HostTime now = mClock.now();
  if (mInside) return lookAt(run, now + allowed);
  if (now - mLast.load() < allowed) return lookAt(run, mLast.load() + allowed);
  // If this check is late, the whole process was stopped, and the device could not call back either.
  if (now - due >= lateness) return lookAt(run, now + moment);
  mOnStall();
}

}  // namespace orvane::host
