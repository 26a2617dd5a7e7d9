// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "platform/PlatformSession.h"
#include "platform/host/CallGate.h"
#include "platform/host/report/RunRecords.h"

namespace orvane::host {

/// The session operations that a scenario (the simulated device's script of faults) can refuse.
namespace session_call {

extern const GatedCall activate;
extern const GatedCall deactivate;
extern const GatedCall setCategory;
extern const GatedCall setMode;
extern const GatedCall setOptions;

}  // namespace session_call

/// The host's implementation of `platform::SessionService`. The primary session has the identifier 1, auxiliary
/// sessions have identifiers from 2 on.
///
/// New sessions have the category play-and-record, so that units may use input and output without further settings. The
/// functions of `SessionPolicy.h` decide which settings are valid.
class HostSessions final : public platform::SessionService {
 public:
  /// Creates the service. `gate` decides whether a call in `session_call` is refused; refusals are recorded in
  /// `refusals`.
  HostSessions(std::shared_ptr<const CallGate> gate, std::shared_ptr<RefusalRecord> refusals);

  std::shared_ptr<platform::PlatformSession> primary() override { return mPrimary; }
  std::shared_ptr<platform::PlatformSession> makeAuxiliary() override;

  /// Returns the session with this identifier, or null if there is none or the session has been released.
  std::shared_ptr<platform::PlatformSession> find(std::uint32_t identifier) const;

 private:
  const std::shared_ptr<const CallGate> mGate;
  const std::shared_ptr<RefusalRecord> mRefusals;
  const std::shared_ptr<platform::PlatformSession> mPrimary;
  mutable std::mutex mMutex;
  std::map<std::uint32_t, std::weak_ptr<platform::PlatformSession>> mAuxiliary;
  std::uint32_t mNextIdentifier;
};

}  // namespace orvane::host
