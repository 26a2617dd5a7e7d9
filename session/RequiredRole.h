// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "session/RaiseOn.h"

namespace orvane {

/// Returns the role (service of the host) to which `role`, a member of `services`, points. If it is null, raises "NAME
/// is not available on this host".
template <typename Role>
Role& requiredRole(const platform::Platform& services, const std::shared_ptr<Role>& role, const char* name) {
  if (!role) raiseOn(services, std::string(name) + " is not available on this host");
  return *role;
}

}  // namespace orvane
