// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"
#include "session/OVSession.h"

/// The session on the process's primary platform session.
class ORVANE_EXPORT OVPrimarySession : public OVSession {
 public:
  /// Null where the implementation type is 0. Raises "SessionService is not available on this host" where the host in
  /// use has none.
  static std::shared_ptr<OVPrimarySession> init();
  /// The inherited one would make no primary session.
  static std::shared_ptr<OVPrimarySession> initWithAuxillarySession(bool auxiliary) = delete;

 protected:
  OVPrimarySession() : OVSession(false) {}
  const char* className() const override;
};
