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

/// The session that an audio client is bound to, and the sides of the device that it gives: the one rule for units,
/// queues and the graph. Any thread.
class SessionBinding {
 public:
  explicit SessionBinding(std::shared_ptr<const HostContext> context) : mContext(std::move(context)) {}

  /// Binds to the session with this identifier. On `unknownSession` the binding stays as it was.
  platform::Status bind(std::uint32_t identifier);

  /// Why the client cannot use these sides: a side that the hardware lacks (`noDevice`), or that the category of the
  /// session lacks (`noInput`, `noOutput`). Without a session every category is fine. `call` is the call that asks.
  std::optional<platform::Failure> whyNot(const backend::DeviceFormat& hardware, bool input, bool output,
                                          const std::string& call) const;

 private:
  std::shared_ptr<const HostContext> mContext;
  mutable std::mutex mMutex;
  std::shared_ptr<platform::PlatformSession> mSession;
};

}  // namespace orvane::host
