// SPDX-License-Identifier: MIT
#include "session/SessionToBind.h"

#include <memory>

#include "platform/PlatformSession.h"
#include "session/OVSession.h"

namespace orvane {

std::optional<std::uint32_t> sessionToBind(const platform::Platform& services, const OVSession& session) {
  const std::shared_ptr<platform::Object> object = session.session();
  const auto* bound = dynamic_cast<const platform::PlatformSession*>(object.get());
  if (bound == nullptr || (services.sessions && services.sessions->primary().get() == bound)) return std::nullopt;
  return bound->identifier();
}

}  // namespace orvane
