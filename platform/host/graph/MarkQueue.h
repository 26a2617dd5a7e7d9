// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace orvane::host {

/// The time of a captured frame. Between two marks, frames follow one another without a gap.
struct TimeMark {
  std::uint64_t captured = 0;  ///< Frames captured before this one.
  std::uint64_t lost = 0;      ///< Frames before this one that were missing or dropped.
  std::uint64_t hostTime = 0;  ///< In nanoseconds.
};

/// A bounded, lock-free queue that passes time marks from the device callback to a worker. Real-time safe.
class MarkQueue {
 public:
  /// Appends a mark. Returns false if the queue is full. Called on the device callback.
  bool push(const TimeMark& mark) {
    const std::size_t pushed = mPushed.load(std::memory_order_relaxed);
    if (pushed - mTaken.load(std::memory_order_acquire) == mMarks.size()) return false;
    mMarks[pushed % mMarks.size()] = mark;
    mPushed.store(pushed + 1, std::memory_order_release);
    return true;
  }
  /// Removes the marks of all frames up to and including frame `captured`, and sets `mark` to the last of them; leaves
  /// `mark` as it is if there is none. Called by the worker.
  void takeUpTo(std::uint64_t captured, TimeMark& mark) {
    std::size_t taken = mTaken.load(std::memory_order_relaxed);
    const std::size_t pushed = mPushed.load(std::memory_order_acquire);
    while (taken != pushed && mMarks[taken % mMarks.size()].captured <= captured)
      mark = mMarks[taken++ % mMarks.size()];
    mTaken.store(taken, std::memory_order_release);
  }

 private:
  std::array<TimeMark, 64> mMarks;
  std::atomic<std::size_t> mPushed = 0;
  std::atomic<std::size_t> mTaken = 0;
};

}  // namespace orvane::host
