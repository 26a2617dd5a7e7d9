#include "platform/host/HostEventLoop.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "platform/host/HostThread.h"

namespace orvane::host {

namespace {

std::atomic<bool> pipeClosed = false;

/// Runs on whatever thread wrote, the device's included, so it only passes the news on to the thread that reads
/// signals.
void onClosedPipe(int) {
  if (!pipeClosed.exchange(true)) kill(getpid(), SIGTERM);
}

sigset_t stopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

}  // namespace

HostEventLoop::HostEventLoop(const std::shared_ptr<platform::Scheduler>& scheduler)
    : mShared(std::make_shared<Shared>()) {
  mShared->scheduler = scheduler;
  mShared->waiter = scheduler->makeWaiter();
}

void HostEventLoop::watchSignals() {
  const sigset_t signals = stopSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  struct sigaction action {};
  action.sa_handler = onClosedPipe;
  action.sa_flags = SA_RESTART;
  sigaction(SIGPIPE, &action, nullptr);
  // A file that reaches the limit set for this process is a failed write like others, not the end of the process.
  signal(SIGXFSZ, SIG_IGN);
  startThread("signals", [shared = mShared, signals] {
    for (;;) {
      int signal = 0;
      if (sigwait(&signals, &signal) != 0) continue;
      int none = 0;
      shared->signal.compare_exchange_strong(none, pipeClosed ? SIGPIPE : signal);
      shared->waiter->signal();
    }
  }).detach();
}

int HostEventLoop::run() {
  mShared->waiter->wait(platform::Waiter::forever);
  return mShared->signal;
}

void HostEventLoop::stop() {
  mShared->waiter->signal();
}

}  // namespace orvane::host
