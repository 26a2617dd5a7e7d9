// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Status.h"

namespace orvane::platform {

/// One failure inside the host: its status, a sentence for people, and the call that failed.
struct Failure {
  Status status = status::success;
  std::string reason = {};  ///< Names what was wrong, and what would be right where that is not obvious.
  std::string call = {};    ///< The role's operation, "UnitService::start"; empty where no call was made.

  bool operator==(const Failure&) const = default;
};

}  // namespace orvane::platform
