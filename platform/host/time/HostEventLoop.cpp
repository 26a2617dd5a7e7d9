#include "platform/host/time/HostEventLoop.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <utility>

#include "platform/host/time/HostThread.h"

namespace orvane::host {

namespace {

std::atomic<bool> pipeClosed = false;

/// Runs on whatever thread wrote, the device's included, so it only passes the news on to the thread that reads
/// signals.
void onClosedPipe(int) {
  if (!pipeClosed.exchange(true)) kill(getpid(), SIGTERM);
}

/// What passes a signal on may send it to the process and to its group, as `timeout` does. Such copies come within this
/// time, and ask once.
constexpr std::chrono::milliseconds copyTime(300);

sigset_t stopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

/// What the signal does to a process that does not watch it.
void endProcess(int signal) {
  std::signal(signal, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  raise(signal);
}

}  // namespace

HostEventLoop::HostEventLoop(const std::shared_ptr<platform::Scheduler>& scheduler)
    : mShared(std::make_shared<Shared>()) {
  mShared->scheduler = scheduler;
  mShared->waiter = scheduler->makeWaiter();
}

void HostEventLoop::watchSignals() {
  if (std::exchange(mWatchesSignals, true)) return;
  const sigset_t signals = stopSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  struct sigaction action {};
  action.sa_handler = onClosedPipe;
  action.sa_flags = SA_RESTART;
  sigaction(SIGPIPE, &action, nullptr);
  // A file that reaches the limit set for this process is a failed write like others, not the end of the process.
  signal(SIGXFSZ, SIG_IGN);
  startThread("signals", [shared = mShared, signals] { readSignals(*shared, signals); }).detach();
}

void HostEventLoop::readSignals(Shared& shared, const sigset_t& signals) {
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> asked;
  for (;;) {
    siginfo_t information;
    const int signal = sigwaitinfo(&signals, &information);
    if (signal == -1) continue;
    // A closed pipe is told by the process itself; it may follow the signal that ended the pipe's other side as well.
    if (information.si_pid != getpid()) {
      if (asked && Clock::now() - *asked > copyTime) endProcess(signal);
      if (!asked) asked = Clock::now();
    }
    int none = 0;
    shared.signal.compare_exchange_strong(none, pipeClosed ? SIGPIPE : signal);
    shared.waiter->signal();
  }
}

int HostEventLoop::run() {
  mShared->waiter->wait(platform::Waiter::forever);
  return mShared->signal;
}

void HostEventLoop::stop() {
  mShared->waiter->signal();
}

}  // namespace orvane::host
