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

/// The changes of a session that a scenario may refuse.
namespace session_call {

extern const GatedCall activate;
extern const GatedCall deactivate;
extern const GatedCall setCategory;
extern const GatedCall setMode;
extern const GatedCall setOptions;

}  // namespace session_call

/// The sessions of one host: the primary one, identifier 1, and auxiliary ones from 2 on.
///
/// A new session is inactive, in the default mode without options, and in the category play-and-record: a test device
/// begins with everything allowed. What may be set is the rule of `SessionPolicy.h`. Any thread.
class HostSessions final : public platform::SessionService {
 public:
  /// `gate` may refuse what sessions are asked, with a reason: those of `session_call`.
  HostSessions(std::shared_ptr<const CallGate> gate, std::shared_ptr<RefusalRecord> refusals);

  std::shared_ptr<platform::PlatformSession> primary() override { return mPrimary; }
  std::shared_ptr<platform::PlatformSession> makeAuxiliary() override;

  /// The session with this identifier; null where there is none, or where its last user has let go of it.
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
