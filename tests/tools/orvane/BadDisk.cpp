// SPDX-License-Identifier: MIT

// A library that is loaded before the C library and simulates a damaged disk: reading beyond the first megabyte of a
// large file fails.

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

// The C library names the parameters by abbreviations.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  using Read = ssize_t (*)(int, void*, std::size_t, off_t);
  static const auto next = reinterpret_cast<Read>(dlsym(RTLD_NEXT, "pread"));
  constexpr off_t limit = 1 << 20;
  struct stat facts {};
  const bool isLarge = fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_size > limit;
  if (isLarge && offset + static_cast<off_t>(count) > limit) {
    errno = EIO;
    return -1;
  }
  return next(descriptor, bytes, count, offset);
}
