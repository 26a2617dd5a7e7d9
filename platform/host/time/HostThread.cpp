// SPDX-License-Identifier: MIT
#include "platform/host/time/HostThread.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

namespace orvane::host {

namespace {

/// A scope guard that blocks SIGINT, SIGTERM and SIGHUP on the calling thread.
class BlockedStopSignals {
 public:
  BlockedStopSignals() {
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&stopSignals, signal);
    pthread_sigmask(SIG_BLOCK, &stopSignals, &mBefore);
  }
  ~BlockedStopSignals() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
  BlockedStopSignals(const BlockedStopSignals&) = delete;
  BlockedStopSignals& operator=(const BlockedStopSignals&) = delete;

 private:
  sigset_t mBefore{};
};

}  // namespace

std::thread startThread(const std::string& name, std::function<void()> body) {
  // A new thread inherits the signal mask. Blocking the signals during its start ensures that it never receives one.
  const BlockedStopSignals blocked;
  return std::thread([body = std::move(body), shownName = name.substr(0, 15)] {
    pthread_setname_np(pthread_self(), shownName.c_str());
    body();
  });
}

void joinOrDetach(std::thread& thread) {
  if (thread.get_id() == std::this_thread::get_id()) {
    thread.detach();
  } else {
    thread.join();
  }
}

}  // namespace orvane::host
