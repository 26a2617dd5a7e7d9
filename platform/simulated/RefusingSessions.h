#pragma once

#include <memory>

#include "platform/PlatformSession.h"
#include "platform/simulated/scenario/Scenario.h"

namespace orvane::simulated {

/// A session service in front of another, whose sessions refuse what a scenario says, for its reasons. They keep the
/// identifiers of the sessions behind them, so that units are bound to those.
class RefusingSessions final : public platform::SessionService {
 public:
  RefusingSessions(std::shared_ptr<platform::SessionService> sessions, SessionRefusals refusals);

  std::shared_ptr<platform::PlatformSession> primary() override { return mPrimary; }
  std::shared_ptr<platform::PlatformSession> makeAuxiliary() override;

 private:
  std::shared_ptr<platform::PlatformSession> inFrontOf(std::shared_ptr<platform::PlatformSession> session) const;

  const std::shared_ptr<platform::SessionService> mSessions;
  const SessionRefusals mRefusals;
  const std::shared_ptr<platform::PlatformSession> mPrimary;
};

}  // namespace orvane::simulated
