// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"

class OVSession;

/// Adopted by the tools that can be bound to a session.
class ORVANE_EXPORT OVSessionAssignable {
 public:
  virtual ~OVSessionAssignable() = default;

  /// The session last assigned; null until then. The tool shares ownership of it.
  virtual std::shared_ptr<OVSession> session() const = 0;
  virtual void setSession(std::shared_ptr<OVSession> session) = 0;
};
