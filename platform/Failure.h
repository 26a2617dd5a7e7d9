// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Status.h"

namespace orvane::platform {

/// A failure inside the host: its status, its reason and the operation that failed.
struct Failure {
  Status status = status::success;
  std::string reason = {};  ///< A sentence that states what is wrong and, if not obvious, what would be right.
  std::string call = {};    ///< The operation that failed, such as "UnitService::start"; empty outside a call.

  bool operator==(const Failure&) const = default;
};

}  // namespace orvane::platform
