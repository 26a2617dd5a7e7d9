// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// How many real-time sections the calling thread is in. Read by the hooks, which run before and after everything else,
/// so it is a plain integer that needs no initialisation.
extern thread_local int realTimeDepth;

}  // namespace orvane::host
