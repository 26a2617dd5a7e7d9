// SPDX-License-Identifier: MIT
#include "queue/QueueServices.h"

#include <memory>
#include <string>

#include "platform/PlatformSession.h"
#include "session/OVSession.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

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
  const std::shared_ptr<platform::Object> object = session.session();
  const auto* bound = dynamic_cast<const platform::PlatformSession*>(object.get());
  if (bound == nullptr || (services.sessions && services.sessions->primary().get() == bound)) return;
  const std::uint32_t identifier = bound->identifier();
  const platform::Status status =
      queuesOf(services).setProperty(queue, platform::QueueProperty::clientSession, &identifier, sizeof identifier);
  if (status == platform::status::success) return;
  raiseOn(services, "setSession failed " + std::to_string(status) +
                        " -- BufferQueueService::setProperty(QueueProperty::clientSession) sessionID: " +
                        std::to_string(identifier));
}

}  // namespace orvane
