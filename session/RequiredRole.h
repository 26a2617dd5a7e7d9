// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "session/RaiseOn.h"

namespace orvane {

/// The role, which is one of `services`. Raises "<name> is not available on this host" where it is null.
template <typename Role>
Role& requiredRole(const platform::Platform& services, const std::shared_ptr<Role>& role, const char* name) {
  if (!role) raiseOn(services, std::string(name) + " is not available on this host");
  return *role;
}

}  // namespace orvane
