// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "session/RaiseOn.h"

namespace orvane {

/// Returns the service to which the pointer `role` of `services` points. If this pointer is null, raises "NAME is not
/// available on this host", where NAME is the name of the service.
template <typename Role>
Role& requiredRole(const platform::Platform& services, const std::shared_ptr<Role>& role, const char* name) {
  if (!role) raiseOn(services, std::string(name) + " is not available on this host");
  return *role;
}

}  // namespace orvane
