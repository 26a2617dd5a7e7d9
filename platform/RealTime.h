// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::platform {

/// A scope guard that marks code on the device callback. In builds with ORVANE_REAL_TIME_CHECKS, the process ends with
/// a message that names the call if the calling thread allocates, locks, waits, throws or uses files or streams in this
/// scope. In other builds it does nothing. Sections may be nested. Real-time safe.
class RealTimeSection {
 public:
  RealTimeSection();
  ~RealTimeSection();
  RealTimeSection(const RealTimeSection&) = delete;
  RealTimeSection& operator=(const RealTimeSection&) = delete;
};

/// A scope guard that suspends the checks of `RealTimeSection`. To be used only for the documented exceptions: printing
/// the meter's bars, the notice about the environment variable PX_NoVector, and the message before the process aborts.
/// Real-time safe.
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
