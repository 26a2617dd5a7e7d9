// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

namespace PX {

/// Prints "FILE:LINE: FUNCTION: Assertion `CONDITION' failed." on standard error and aborts the process. Used for
/// errors of the program that a build without debugging must detect too. `file` and `line` are those of the caller by
/// default. Thread-safe.
[[noreturn]] ORVANE_EXPORT void FailAssertion(const char* condition, const char* function,
                                              const char* file = __builtin_FILE(), int line = __builtin_LINE());

}  // namespace PX
