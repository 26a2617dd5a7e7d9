// SPDX-License-Identifier: MIT
#include "platform/Object.h"

#include <cstdio>

namespace orvane::platform {

std::string Object::description() const {
  char text[32];
  std::snprintf(text, sizeof text, "<Object: %p>", static_cast<const void*>(this));
  return text;
}

}  // namespace orvane::platform
