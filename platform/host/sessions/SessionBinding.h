// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Failure.h"
#include "platform/PlatformSession.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/HostContext.h"

namespace orvane::host {

/// The session that an audio client is bound to; decides which sides of the device the client may use. Thread-safe; not
/// real-time safe.
class SessionBinding {
 public:
  explicit SessionBinding(std::shared_ptr<const HostContext> context) : mContext(std::move(context)) {}

  /// Binds to the session with this identifier. Returns `unknownSession`, and keeps the binding, if there is none.
  platform::Status bind(std::uint32_t identifier);

  /// Returns nothing if the client may use these sides, otherwise the failure: `noDevice` for a side that the hardware
  /// lacks, `noInput` or `noOutput` for one that the session's category lacks. Without a session only the hardware
  /// counts. `call` is stored in the failure.
  std::optional<platform::Failure> whyNot(const backend::DeviceFormat& hardware, bool input, bool output,
                                          const std::string& call) const;

 private:
  std::shared_ptr<const HostContext> mContext;
  mutable std::mutex mMutex;
  std::shared_ptr<platform::PlatformSession> mSession;
};

}  // namespace orvane::host
