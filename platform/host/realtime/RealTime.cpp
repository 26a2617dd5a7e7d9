// SPDX-License-Identifier: MIT
#include "platform/RealTime.h"

#include "platform/host/realtime/RealTimeDepth.h"

namespace orvane::platform {

#if ORVANE_REAL_TIME_CHECKS

RealTimeSection::RealTimeSection() {
  ++host::realTimeDepth;
}
RealTimeSection::~RealTimeSection() {
  --host::realTimeDepth;
}

RealTimeExemption::RealTimeExemption() : mDepth(host::realTimeDepth) {
  host::realTimeDepth = 0;
}
RealTimeExemption::~RealTimeExemption() {
  host::realTimeDepth = mDepth;
}

#else

RealTimeSection::RealTimeSection() = default;
RealTimeSection::~RealTimeSection() = default;

RealTimeExemption::RealTimeExemption() : mDepth(0) {}
RealTimeExemption::~RealTimeExemption() = default;

#endif

}  // namespace orvane::platform
