#include "platform/host/time/HostThread.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

namespace orvane::host {

std::thread startThread(const std::string& name, std::function<void()> body) {
  // A thread inherits the mask of its maker, so the signals are blocked around the start: there is no moment in which
  // the new thread could take one.
  sigset_t stopSignals;
  sigset_t before;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, &before);
  std::thread thread([body = std::move(body), shownName = name.substr(0, 15)] {
    pthread_setname_np(pthread_self(), shownName.c_str());
    body();
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace orvane::host
