// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"
#include "session/OVSession.h"

/// A session on the host's primary platform session, which all objects of this class share. Otherwise as `OVSession`.
class ORVANE_EXPORT OVPrimarySession : public OVSession {
 public:
  /// Returns null if the implementation type is 0. Raises "SessionService is not available on this host" if the host in
  /// use has no sessions.
  static std::shared_ptr<OVPrimarySession> init();
  /// Deleted: the inherited factory would not make an `OVPrimarySession`.
  static std::shared_ptr<OVPrimarySession> initWithAuxillarySession(bool auxiliary) = delete;

 protected:
  OVPrimarySession() : OVSession(false) {}
  const char* className() const override;
};
