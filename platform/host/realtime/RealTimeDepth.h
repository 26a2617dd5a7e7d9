// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// The nesting depth of `RealTimeSection` on the calling thread; 0 outside. A plain integer without dynamic
/// initialisation, because the hooks that check it run before and after all other code of the process.
extern thread_local int realTimeDepth;

}  // namespace orvane::host
