// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Export.h"

namespace orvane::platform {

/// Base of host objects that callers hold without knowing their class.
class ORVANE_EXPORT Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// Returns the text shown for this object in messages. The default is "<Object: 0x55d0c3a2b2c0>", with its address.
  virtual std::string description() const;
};

}  // namespace orvane::platform
