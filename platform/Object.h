// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Export.h"

namespace orvane::platform {

/// The root of what a host hands out by reference, so that a holder need not know its class.
class ORVANE_EXPORT Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// The text shown for this object in messages. The default tells objects apart by address only.
  virtual std::string description() const;
};

}  // namespace orvane::platform
