// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::platform {

/// Marks the part of a function that runs on the device callback. In builds with ORVANE_REAL_TIME_CHECKS, allocating,
/// locking, waiting, calling a file or stream function or throwing inside it ends the process with a line that names
/// the call; in other builds it is empty. Nests.
class RealTimeSection {
 public:
  RealTimeSection();
  ~RealTimeSection();
  RealTimeSection(const RealTimeSection&) = delete;
  RealTimeSection& operator=(const RealTimeSection&) = delete;
};

/// Lifts the rules of a `RealTimeSection` for its own span. Only for what is documented to break them: the meter's
/// bars, the notice of PX_NoVector, and the line before an abnormal end.
class RealTimeExemption {
 public:
  RealTimeExemption();
  ~RealTimeExemption();
  RealTimeExemption(const RealTimeExemption&) = delete;
  RealTimeExemption& operator=(const RealTimeExemption&) = delete;

 private:
  [[maybe_unused]] int mDepth;  ///< Used in builds with ORVANE_REAL_TIME_CHECKS only.
};

}  // namespace orvane::platform
