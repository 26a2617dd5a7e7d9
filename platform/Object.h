// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Export.h"

namespace orvane::platform {

/// Base class of host objects that callers hold through pointers without knowing the concrete class.
class ORVANE_EXPORT Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// Returns the text shown for this object in messages. By default it contains the object's address: "<Object:
  /// 0x55d0c3a2b2c0>".
  virtual std::string description() const;
};

}  // namespace orvane::platform
