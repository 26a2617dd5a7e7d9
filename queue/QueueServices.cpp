// SPDX-License-Identifier: MIT
#include "queue/QueueServices.h"

#include <string>

#include "session/RaiseOn.h"
#include "session/RequiredRole.h"
#include "session/SessionToBind.h"

namespace orvane {

platform::BufferQueueService& queuesOf(const platform::Platform& services) {
  return requiredRole(services, services.bufferQueues, "BufferQueueService");
}

platform::SoundFileService& filesOf(const platform::Platform& services) {
  return requiredRole(services, services.soundFiles, "SoundFileService");
}

void check(const platform::Platform& services, platform::Status result, const char* message) {
  if (result != platform::status::success) raiseOn(services, message, result);
}

void bindQueueToSession(const platform::Platform& services, platform::BufferQueue queue, const OVSession& session) {
  const auto identifier = sessionToBind(services, session);
  if (!identifier) return;
  const platform::Status status =
      queuesOf(services).setProperty(queue, platform::QueueProperty::clientSession, &*identifier, sizeof *identifier);
  if (status == platform::status::success) return;
  raiseOn(services, "setSession failed " + std::to_string(status) +
                        " -- BufferQueueService::setProperty(QueueProperty::clientSession) sessionID: " +
                        std::to_string(*identifier));
}

}  // namespace orvane
