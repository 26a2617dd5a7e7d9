// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/PXAssert.h"

#include <cstdio>
#include <cstdlib>

void PX::FailAssertion(const char* condition, const char* function, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, function, condition);
  std::abort();
}
