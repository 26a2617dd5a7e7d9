// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cmath>
#include <cstdint>

namespace orvane::host {

/// The number of frames since a run began, counted at the sample rate of its first start. After a change of the
/// device's rate, frames count as the time that they last.
class FrameCount {
 public:
  /// Begins to count frames at `rate`, in hertz; ignores a rate below 1, at which no device starts. Must not overlap
  /// with `add`.
  void setRate(double rate) {
    if (!(rate >= 1)) return;
    mRate = static_cast<std::uint64_t>(std::llround(rate));
    if (mCountRate == 0) mCountRate.store(mRate);
    mFormer = mFrames;
    mSince = 0;
  }
  /// Counts frames. Called on the device callback; real-time safe.
  void add(std::uint32_t frames) {
    mSince += frames;
    const std::uint64_t countRate = mCountRate.load(std::memory_order_relaxed);
    // Written by one thread only, so no locked instruction is necessary.
    mFrames.store(mFormer + (mRate == countRate ? mSince : scaled(mSince, countRate, mRate)),
                  std::memory_order_relaxed);
  }
  /// Returns the frames at the present rate, rounded up, until `frames()` reaches `limit`. Called on the device
  /// callback; real-time safe.
  std::uint64_t left(std::uint64_t limit) const {
    if (limit <= mFrames) return 0;
    const std::uint64_t countRate = mCountRate.load(std::memory_order_relaxed);
    const std::uint64_t wanted = limit - mFormer;
    return (mRate == countRate ? wanted : scaled(wanted, mRate, countRate, countRate - 1)) - mSince;
  }

  /// Returns the frames so far. Thread-safe; real-time safe.
  std::uint64_t frames() const { return mFrames; }
  /// Returns the rate at which `frames()` counts, in hertz; 0 before the first start. Thread-safe; real-time safe.
  double rate() const { return static_cast<double>(mCountRate.load()); }

 private:
  /// Returns (frames * to + more) / from, for any number of frames without an overflow.
  static std::uint64_t scaled(std::uint64_t frames, std::uint64_t to, std::uint64_t from, std::uint64_t more = 0) {
    return frames / from * to + (frames % from * to + more) / from;
  }

  std::atomic<std::uint64_t> mFrames = 0;
  std::atomic<std::uint64_t> mCountRate = 0;
  std::uint64_t mRate = 0;    ///< The device's present rate.
  std::uint64_t mFormer = 0;  ///< `mFrames` at the last change of the rate.
  std::uint64_t mSince = 0;   ///< Frames since then, at the present rate.
};

}  // namespace orvane::host
