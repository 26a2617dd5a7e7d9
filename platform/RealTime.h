// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::platform {

/// Marks a scope that runs on the device callback. In builds with ORVANE_REAL_TIME_CHECKS, the process ends with a
/// message that names the call if the calling thread allocates, locks, waits, throws or uses files or streams in this
/// scope. In other builds it does nothing. May be nested. Real-time safe.
class RealTimeSection {
 public:
  RealTimeSection();
  ~RealTimeSection();
  RealTimeSection(const RealTimeSection&) = delete;
  RealTimeSection& operator=(const RealTimeSection&) = delete;
};

/// Suspends the checks of `RealTimeSection` in its scope. Only for the documented exceptions: the meter's bars, the
/// notice of PX_NoVector, and the message before an abnormal end. Real-time safe.
class RealTimeExemption {
 public:
  RealTimeExemption();
  ~RealTimeExemption();
  RealTimeExemption(const RealTimeExemption&) = delete;
  RealTimeExemption& operator=(const RealTimeExemption&) = delete;

 private:
  [[maybe_unused]] int mDepth;  ///< The depth to restore; used in builds with ORVANE_REAL_TIME_CHECKS only.
};

}  // namespace orvane::platform
