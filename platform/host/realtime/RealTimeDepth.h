// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::host {

/// The number of real-time sections that the calling thread is in. A plain integer without dynamic initialisation,
/// because the hooks read it before and after all other code of the process runs.
extern thread_local int realTimeDepth;

}  // namespace orvane::host
