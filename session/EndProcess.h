// SPDX-License-Identifier: MIT
#pragma once

namespace orvane {

/// Ends the process with an exit status, as `std::exit` does. If several threads call it at the same time, the first
/// call ends the process and the others never return. Must not be called with a mutex locked that an exit hook needs.
[[noreturn]] void endProcess(int status);

}  // namespace orvane
