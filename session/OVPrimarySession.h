// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"
#include "session/OVSession.h"

/// An `OVSession` that uses the host's primary platform session, which all objects of this class share.
class ORVANE_EXPORT OVPrimarySession : public OVSession {
 public:
  /// Creates an object, or returns null if `implementationType()` is 0. Raises "SessionService is not available on this
  /// host" if the host in use has no sessions.
  static std::shared_ptr<OVPrimarySession> init();
  /// Deleted, because the inherited factory would not create an `OVPrimarySession`.
  static std::shared_ptr<OVPrimarySession> initWithAuxillarySession(bool auxiliary) = delete;

 protected:
  OVPrimarySession() : OVSession(false) {}
  const char* className() const override;
};
