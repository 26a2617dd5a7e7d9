// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"

class OVSession;

/// Interface of tools that can be bound to a session. `OVIOUnit` has the exceptions and thread rules.
class ORVANE_EXPORT OVSessionAssignable {
 public:
  virtual ~OVSessionAssignable() = default;

  /// Returns the session last assigned; null before that. The tool shares ownership of it.
  virtual std::shared_ptr<OVSession> session() const = 0;
  /// Assigns a session; whether null is accepted is up to the implementing class.
  virtual void setSession(std::shared_ptr<OVSession> session) = 0;
};
