// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "session/RaiseOn.h"

namespace orvane {

/// Returns `role`, a member of `services`. Raises "NAME is not available on this host" if it is null.
template <typename Role>
Role& requiredRole(const platform::Platform& services, const std::shared_ptr<Role>& role, const char* name) {
  if (!role) raiseOn(services, std::string(name) + " is not available on this host");
  return *role;
}

}  // namespace orvane
