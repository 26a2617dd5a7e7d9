// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"

class OVSession;

/// Interface of classes that can be bound to a session. Exceptions and thread rules are described at `OVIOUnit`.
class ORVANE_EXPORT OVSessionAssignable {
 public:
  virtual ~OVSessionAssignable() = default;

  /// Returns the session that was assigned last, or null before the first assignment. The object shares ownership of
  /// the session.
  virtual std::shared_ptr<OVSession> session() const = 0;
  /// Assigns a session. Each implementing class defines whether null is accepted.
  virtual void setSession(std::shared_ptr<OVSession> session) = 0;
};
