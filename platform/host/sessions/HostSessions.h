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

/// The session operations that a scenario can refuse.
namespace session_call {

extern const GatedCall activate;
extern const GatedCall deactivate;
extern const GatedCall setCategory;
extern const GatedCall setMode;
extern const GatedCall setOptions;

}  // namespace session_call

/// The sessions of one host: the primary one with identifier 1, auxiliary ones from 2 on. See
/// `platform::SessionService`.
///
/// New sessions have the category play-and-record, so that units may use both sides without further settings.
/// `SessionPolicy.h` decides what may be set.
class HostSessions final : public platform::SessionService {
 public:
  /// `gate` decides about the calls of `session_call`; refusals are kept in `refusals`.
  HostSessions(std::shared_ptr<const CallGate> gate, std::shared_ptr<RefusalRecord> refusals);

  std::shared_ptr<platform::PlatformSession> primary() override { return mPrimary; }
  std::shared_ptr<platform::PlatformSession> makeAuxiliary() override;

  /// Returns the session with this identifier; null if there is none or it has been released.
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
