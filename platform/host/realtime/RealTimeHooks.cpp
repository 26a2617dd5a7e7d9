// SPDX-License-Identifier: MIT

// In builds with ORVANE_REAL_TIME_CHECKS, this file replaces the C library's functions for allocation, locks, waits,
// files, streams and throwing. If the device callback calls one of them, the process ends with a message, where
// otherwise the fault would cause occasional dropouts. `sem_post` is allowed.

#include "platform/host/realtime/RealTimeDepth.h"

#if ORVANE_REAL_TIME_CHECKS

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
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
  realTimeDepth = 0;  // Ends the check, because the code below may allocate.
  const char* const parts[] = {"orvane: the device callback called ", call, ", which no real-time code may do\n"};
  for (const char* part : parts) {
    if (write(STDERR_FILENO, part, std::strlen(part)) < 0) break;
  }
  std::abort();
}

/// The C library's own function with a given name, looked up at the first call.
///
/// Two threads may look it up at the same time. It is constant-initialised, because a static variable with a guard
/// would lock inside the hooks.
template <typename Function>
class Original {
 public:
  /// Refers to the function `name`. `version` selects the function's version; it is needed if the C library also has an
  /// older version with the same name.
  constexpr explicit Original(const char* name, const char* version = nullptr) : mName(name), mVersion(version) {}

  Function* get() {
    void* found = mFound.load(std::memory_order_relaxed);
    if (found == nullptr) {
      if (mVersion != nullptr) found = dlvsym(RTLD_NEXT, mName, mVersion);
      if (found == nullptr) found = dlsym(RTLD_NEXT, mName);
      mFound.store(found, std::memory_order_relaxed);
    }
    return reinterpret_cast<Function*>(found);
  }

 private:
  const char* mName;
  const char* mVersion;
  std::atomic<void*> mFound = nullptr;
};

}  // namespace

}  // namespace orvane::host

using orvane::host::check;
using orvane::host::Original;

// The names under which replacements like these can call the C library's own allocator.
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

/// Defines a hook with the given parameters. The hook ends the process if the calling thread is on the device callback;
/// otherwise it calls the original with the given arguments.
#define ORVANE_FORWARD_VERSION(version, Result, name, parameters, ...)     \
  ORVANE_HOOK Result name parameters {                                     \
    check(#name);                                                          \
    static constinit Original<Result parameters> original(#name, version); \
    return original.get()(__VA_ARGS__);                                    \
  }
#define ORVANE_FORWARD(...) ORVANE_FORWARD_VERSION(nullptr, __VA_ARGS__)

// Locks.
ORVANE_FORWARD(int, pthread_mutex_lock, (pthread_mutex_t * mutex) noexcept, mutex)
ORVANE_FORWARD(int, pthread_rwlock_rdlock, (pthread_rwlock_t * lock) noexcept, lock)
ORVANE_FORWARD(int, pthread_rwlock_wrlock, (pthread_rwlock_t * lock) noexcept, lock)

// Waits.
#define ORVANE_FORWARD_CONDITION(...) ORVANE_FORWARD_VERSION("GLIBC_2.3.2", int, __VA_ARGS__)
ORVANE_FORWARD_CONDITION(pthread_cond_wait, (pthread_cond_t * condition, pthread_mutex_t* mutex), condition, mutex)
ORVANE_FORWARD_CONDITION(pthread_cond_timedwait,
                         (pthread_cond_t * condition, pthread_mutex_t* mutex, const timespec* due), condition, mutex,
                         due)
ORVANE_FORWARD(int, pthread_cond_clockwait,
               (pthread_cond_t * condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* due), condition,
               mutex, clock, due)
ORVANE_FORWARD(int, pthread_join, (pthread_t thread, void** result), thread, result)
ORVANE_FORWARD(int, sem_wait, (sem_t * semaphore), semaphore)
ORVANE_FORWARD(int, sem_timedwait, (sem_t * semaphore, const timespec* due), semaphore, due)
ORVANE_FORWARD(int, sem_clockwait, (sem_t * semaphore, clockid_t clock, const timespec* due), semaphore, clock, due)
ORVANE_FORWARD(int, nanosleep, (const timespec* duration, timespec* left), duration, left)
ORVANE_FORWARD(int, clock_nanosleep, (clockid_t clock, int flags, const timespec* duration, timespec* left), clock,
               flags, duration, left)
ORVANE_FORWARD(int, usleep, (useconds_t duration), duration)
ORVANE_FORWARD(int, poll, (pollfd * descriptors, nfds_t count, int limit), descriptors, count, limit)

// Files.
ORVANE_FORWARD(ssize_t, read, (int file, void* bytes, std::size_t size), file, bytes, size)
ORVANE_FORWARD(ssize_t, write, (int file, const void* bytes, std::size_t size), file, bytes, size)
ORVANE_FORWARD(ssize_t, pread, (int file, void* bytes, std::size_t size, off_t place), file, bytes, size, place)
ORVANE_FORWARD(ssize_t, pwrite, (int file, const void* bytes, std::size_t size, off_t place), file, bytes, size, place)
ORVANE_FORWARD(int, close, (int file), file)

/// Defines a hook of `open` or `openat`, whose last argument (`mode`) is present only if the call may create a file.
#define ORVANE_FORWARD_OPEN(name, parameters, ...)                                                   \
  ORVANE_HOOK int name parameters {                                                                  \
    check(#name);                                                                                    \
    static constinit Original<int parameters> original(#name);                                       \
    va_list rest;                                                                                    \
    va_start(rest, flags);                                                                           \
    const unsigned int mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, unsigned int) : 0; \
    va_end(rest);                                                                                    \
    return original.get()(__VA_ARGS__, mode);                                                        \
  }
ORVANE_FORWARD_OPEN(open, (const char* path, int flags, ...), path, flags)
ORVANE_FORWARD_OPEN(open64, (const char* path, int flags, ...), path, flags)
ORVANE_FORWARD_OPEN(openat, (int folder, const char* path, int flags, ...), folder, path, flags)

// Streams.
ORVANE_FORWARD(FILE*, fopen, (const char* path, const char* mode), path, mode)
ORVANE_FORWARD(int, fclose, (FILE * stream), stream)
ORVANE_FORWARD(std::size_t, fread, (void* items, std::size_t size, std::size_t count, FILE* stream), items, size, count,
               stream)
ORVANE_FORWARD(std::size_t, fwrite, (const void* items, std::size_t size, std::size_t count, FILE* stream), items, size,
               count, stream)
ORVANE_FORWARD(int, fputs, (const char* text, FILE* stream), text, stream)
ORVANE_FORWARD(int, puts, (const char* text), text)
ORVANE_FORWARD(int, fputc, (int character, FILE* stream), character, stream)
ORVANE_FORWARD(int, fflush, (FILE * stream), stream)
ORVANE_FORWARD(int, vfprintf, (FILE * stream, const char* format, va_list arguments), stream, format, arguments)

/// Defines a hook of `printf` or `fprintf`. These functions need their own hooks: inside the C library they call other
/// functions directly, which bypasses the hooks of those functions.
#define ORVANE_FORWARD_PRINT(name, parameters, stream)      \
  ORVANE_HOOK int name parameters {                         \
    check(#name);                                           \
    va_list arguments;                                      \
    va_start(arguments, format);                            \
    const int result = vfprintf(stream, format, arguments); \
    va_end(arguments);                                      \
    return result;                                          \
  }
ORVANE_FORWARD_PRINT(printf, (const char* format, ...), stdout)
ORVANE_FORWARD_PRINT(fprintf, (FILE * stream, const char* format, ...), stream)

/// Hook of the function that every `throw` expression calls first.
ORVANE_HOOK void* __cxa_allocate_exception(std::size_t size) noexcept {
  check("throw");
  static constinit Original<void*(std::size_t)> original("__cxa_allocate_exception");
  return original.get()(size);
}

#endif
