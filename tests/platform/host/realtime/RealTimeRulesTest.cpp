// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <mutex>
#include <shared_mutex>

#include "platform/RealTime.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace platform;

#if ORVANE_REAL_TIME_CHECKS

/// Receives results that the compiler does not allow to be ignored.
volatile std::intptr_t result;

TEST(RealTimeRulesDeathTest, EachBrokenRuleEndsTheProcessByName) {
  std::mutex mutex;
  std::shared_mutex shared;
  std::condition_variable condition;
  pthread_cond_t plainCondition = PTHREAD_COND_INITIALIZER;
  std::unique_lock lock(mutex);
  sem_t semaphore;
  sem_init(&semaphore, 0, 1);
  std::FILE* const stream = std::fopen("/dev/null", "r+");
  const int file = open("/dev/zero", O_RDWR);
  void* volatile memory = std::malloc(1);
  constexpr timespec past{};
  char byte = 0;
  const char* volatile text = "text";  // A constant would be written by `fwrite`.
  const std::vector<std::pair<std::string, std::function<void()>>> breaches{
      {"malloc", [] { [[maybe_unused]] void* volatile leaked = std::malloc(1); }},
      {"free", [&] { std::free(memory); }},
      {"pthread_mutex_lock", [&] { std::mutex().lock(); }},
      {"pthread_rwlock_rdlock", [&] { shared.lock_shared(); }},
      {"pthread_rwlock_wrlock", [&] { shared.lock(); }},
      {"pthread_cond_wait", [&] { condition.wait(lock); }},
      {"pthread_cond_timedwait", [&] { pthread_cond_timedwait(&plainCondition, mutex.native_handle(), &past); }},
      {"pthread_cond_clockwait", [&] { condition.wait_for(lock, 0s); }},
      {"pthread_join", [] { pthread_join(pthread_self(), nullptr); }},
      {"sem_wait", [&] { sem_wait(&semaphore); }},
      {"sem_timedwait", [&] { sem_timedwait(&semaphore, &past); }},
      {"sem_clockwait", [&] { sem_clockwait(&semaphore, CLOCK_MONOTONIC, &past); }},
      {"nanosleep", [] { std::this_thread::sleep_for(1ns); }},
      {"clock_nanosleep", [&] { clock_nanosleep(CLOCK_MONOTONIC, 0, &past, nullptr); }},
      {"usleep", [] { usleep(1); }},
      {"poll", [] { poll(nullptr, 0, 0); }},
      {"read", [&] { result = read(file, &byte, 1); }},
      {"write", [&] { result = write(file, &byte, 1); }},
      {"pread", [&] { result = pread(file, &byte, 1, 0); }},
      {"pwrite", [&] { result = pwrite(file, &byte, 1, 0); }},
      {"close", [&] { close(file); }},
      {"open", [] { result = open("/dev/null", O_RDONLY); }},
      {"openat", [] { result = openat(AT_FDCWD, "/dev/null", O_RDONLY); }},
      {"fopen", [] { std::fopen("/dev/null", "r"); }},
      {"fclose", [&] { std::fclose(stream); }},
      {"fread", [&] { result = static_cast<std::intptr_t>(std::fread(&byte, 1, 1, stream)); }},
      {"fwrite", [&] { std::fwrite(&byte, 1, 1, stream); }},
      {"fwrite", [] { std::cout << "a line\n"; }},
      {"fputs", [&] { std::fputs(text, stream); }},
      {"fputc", [&] { std::fputc('x', stream); }},
      {"puts", [] { std::puts("a line"); }},
      {"printf", [] { std::printf("%d", 1); }},
      {"fprintf", [&] { std::fprintf(stream, "%d", 1); }},
      {"fflush", [&] { std::fflush(stream); }},
      {"throw", [] { throw 1; }}};
  for (const auto& [call, breach] : breaches) {
    // The temporary section exists until the end of the expression.
    EXPECT_DEATH((RealTimeSection(), breach()), "the device callback called " + call + ", which");
  }
  sem_destroy(&semaphore);
  std::fclose(stream);
  close(file);
  std::free(memory);
}

#endif

TEST(RealTimeRules, AllowASemaphoresPostAndLiftForAnExemption) {
  sem_t semaphore;
  sem_init(&semaphore, 0, 0);
  std::mutex mutex;
  std::condition_variable condition;
  {
    const RealTimeSection section;
    sem_post(&semaphore);
    const RealTimeExemption exemption;
    sem_wait(&semaphore);
    std::unique_lock lock(mutex);
    condition.wait_for(lock, 1ns);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    EXPECT_EQ(pthread_cond_timedwait(condition.native_handle(), mutex.native_handle(), &now), ETIMEDOUT);
    std::free(std::malloc(1));  // NOLINT(cppcoreguidelines-no-malloc): the hooks are for these.
  }
  sem_destroy(&semaphore);
}

}  // namespace
}  // namespace orvane::test
