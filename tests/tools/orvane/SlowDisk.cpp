// SPDX-License-Identifier: MIT

// A library that is loaded before the C library and simulates a slow disk: the first write of more than 1000 bytes
// takes 2.5 s longer.

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

// The C library names the parameters by abbreviations.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" ssize_t pwrite(int descriptor, const void* bytes, std::size_t count, off_t offset) {
  using Write = ssize_t (*)(int, const void*, std::size_t, off_t);
  static const auto next = reinterpret_cast<Write>(dlsym(RTLD_NEXT, "pwrite"));
  static std::atomic<bool> paused = false;
  if (descriptor > STDERR_FILENO && count > 1000 && !paused.exchange(true))
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  return next(descriptor, bytes, count, offset);
}
