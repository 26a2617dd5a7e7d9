// SPDX-License-Identifier: MIT
#include "platform/host/time/NoWait.h"

#include <cstdio>
#include <cstdlib>

#include "platform/RealTime.h"

namespace orvane::host {

namespace {

thread_local int taskDepth = 0;
thread_local int callbackDepth = 0;

[[noreturn]] void end(const char* what, const char* place) {
  const platform::RealTimeExemption exemption;
  std::fprintf(stderr, "orvane: %s inside %s could wait forever; post it to the caller's event loop instead\n", what,
               place);
  std::abort();
}

}  // namespace

NoWaitSection::NoWaitSection(Kind kind) : mKind(kind) {
  ++(kind == Kind::task ? taskDepth : callbackDepth);
}

NoWaitSection::~NoWaitSection() {
  --(mKind == Kind::task ? taskDepth : callbackDepth);
}

bool NoWaitSection::isInTask() {
  return taskDepth > 0;
}

bool NoWaitSection::isInCallback() {
  return callbackDepth > 0;
}

void forbidInsideNoWait(const char* what) {
  forbidInsideCallback(what);
  if (NoWaitSection::isInTask()) end(what, "a worker's task");
}

void forbidInsideCallback(const char* what) {
  if (NoWaitSection::isInCallback()) end(what, "the device callback");
}

}  // namespace orvane::host
