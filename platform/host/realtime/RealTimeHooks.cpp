// Replaces the C library's allocation, mutex, file and throw entry points in builds with ORVANE_REAL_TIME_CHECKS, so
// that breaking a rule on the device callback ends the process at once instead of glitching one day on somebody's
// device.

#include "platform/host/realtime/RealTimeDepth.h"

#if ORVANE_REAL_TIME_CHECKS

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define ORVANE_HOOK extern "C" __attribute__((visibility("default")))

namespace orvane::host {

thread_local int realTimeDepth = 0;

namespace {

void check(const char* call) {
  if (realTimeDepth == 0) return;
  realTimeDepth = 0;  // What follows may itself allocate.
  const char* const parts[] = {"orvane: the device callback called ", call, ", which no real-time code may do\n"};
  for (const char* part : parts) {
    if (write(STDERR_FILENO, part, std::strlen(part)) < 0) break;
  }
  std::abort();
}

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

}  // namespace orvane::host

using orvane::host::check;
using orvane::host::next;

// The C library's own allocator under the names that it keeps for replacements like these.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

ORVANE_HOOK void* malloc(std::size_t size) {
  check("malloc");
  return __libc_malloc(size);
}

ORVANE_HOOK void* calloc(std::size_t count, std::size_t size) {
  check("calloc");
  return __libc_calloc(count, size);
}

ORVANE_HOOK void* realloc(void* memory, std::size_t size) {
  check("realloc");
  return __libc_realloc(memory, size);
}

ORVANE_HOOK void* memalign(std::size_t alignment, std::size_t size) {
  check("memalign");
  return __libc_memalign(alignment, size);
}

ORVANE_HOOK void* aligned_alloc(std::size_t alignment, std::size_t size) {
  check("aligned_alloc");
  return __libc_memalign(alignment, size);
}

ORVANE_HOOK int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  check("posix_memalign");
  *memory = __libc_memalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}

ORVANE_HOOK void free(void* memory) {
  if (memory != nullptr) check("free");
  __libc_free(memory);
}

ORVANE_HOOK int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  check("pthread_mutex_lock");
  static const auto original = next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
  return original(mutex);
}

ORVANE_HOOK int open(const char* path, int flags, ...) {
  check("open");
  static const auto original = next<int (*)(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const unsigned int mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, unsigned int) : 0;
  va_end(arguments);
  return original(path, flags, mode);
}

ORVANE_HOOK FILE* fopen(const char* path, const char* mode) {
  check("fopen");
  static const auto original = next<FILE* (*)(const char*, const char*)>("fopen");
  return original(path, mode);
}

/// The first thing that a throw does.
ORVANE_HOOK void* __cxa_allocate_exception(std::size_t size) noexcept {
  check("throw");
  static const auto original = next<void* (*)(std::size_t)>("__cxa_allocate_exception");
  return original(size);
}

#endif
