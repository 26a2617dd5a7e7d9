// SPDX-License-Identifier: MIT
#pragma once

namespace orvane {

/// The vector registers that a loop is written for.
enum class RegisterWidth {
  bits128,  ///< There on every processor that the library is built for.
  bits256,  ///< AVX2, on x86-64.
};

/// The widest registers that this processor and the library know. Real-time safe.
inline RegisterWidth widestRegisters() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) return RegisterWidth::bits256;
#endif
  return RegisterWidth::bits128;
}

}  // namespace orvane
