// SPDX-License-Identifier: MIT
#include "platform/host/time/HostThread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <cstddef>
#include <string>
#include <system_error>
#include <utility>

namespace orvane::host {
namespace {

/// Those of the signals that end a run which the calling thread blocks.
std::string blockedSignals() {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  std::string names;
  for (const auto& [signal, name] : {std::pair(SIGINT, "INT "), {SIGTERM, "TERM "}, {SIGHUP, "HUP "}})
    if (sigismember(&blocked, signal) == 1) names += name;
  return names;
}

TEST(HostThread, BlocksTheSignalsThatEndARunForItselfOnly) {
  const std::string before = blockedSignals();
  std::string inside;
  startThread("a name of more than fifteen characters", [&] { inside = blockedSignals(); }).join();
  EXPECT_EQ(inside, "INT TERM HUP ");
  EXPECT_EQ(blockedSignals(), before);
}

TEST(HostThread, LeavesTheCallersSignalsAloneWhereNoThreadCanBeMade) {
  const std::string before = blockedSignals();
  pthread_attr_t usual;
  pthread_attr_t larger;
  pthread_getattr_default_np(&usual);
  pthread_attr_init(&larger);
  pthread_attr_setstacksize(&larger, std::size_t{1} << 47);  // More than there are addresses.
  ASSERT_EQ(pthread_setattr_default_np(&larger), 0);
  EXPECT_THROW(startThread("none", [] {}), std::system_error);
  EXPECT_EQ(blockedSignals(), before);
  pthread_setattr_default_np(&usual);
  pthread_attr_destroy(&larger);
  pthread_attr_destroy(&usual);
}

}  // namespace
}  // namespace orvane::host
