// SPDX-License-Identifier: MIT
#include "session/OVPrimarySession.h"

std::shared_ptr<OVPrimarySession> OVPrimarySession::init() {
  if (implementationType() == 0) return nullptr;
  return std::shared_ptr<OVPrimarySession>(new OVPrimarySession);
}

const char* OVPrimarySession::className() const {
  return "OVPrimarySession";
}
