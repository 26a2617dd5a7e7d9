// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/PlatformError.h"
#include "platform/PlatformSession.h"
#include "platform/Status.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/HostContext.h"

namespace orvane::host {

/// The binding of an audio client to a session, which decides which sides of the device the client may use.
/// Thread-safe; not real-time safe.
class SessionBinding {
 public:
  explicit SessionBinding(std::shared_ptr<const HostContext> context) : mContext(std::move(context)) {}

  /// Binds the client to the session with this identifier. If there is no such session, keeps the previous binding and
  /// returns `unknownSession`.
  platform::Status bind(std::uint32_t identifier);

  /// Returns the settings of the session, or `std::nullopt` without a session.
  std::optional<backend::SessionLabels> labels() const;

  /// Returns `std::nullopt` if the client may use the input (if `input` is true) and the output (if `output` is true).
  /// Otherwise returns a failure with the status `noDevice` if the hardware has no such side, or `noInput` or
  /// `noOutput` if the session's category has no such side; `call` becomes the failure's operation. Without a session
  /// only the hardware is checked.
  std::optional<platform::Failure> whyNot(const backend::DeviceFormat& hardware, bool input, bool output,
                                          const std::string& call) const;

 private:
  std::shared_ptr<const HostContext> mContext;
  mutable std::mutex mMutex;
  std::shared_ptr<platform::PlatformSession> mSession;
};

}  // namespace orvane::host
