// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

namespace orvane::platform {

/// Owns a subscribed notice. Destroying or resetting it ends the notice and waits for a call of it that is in progress,
/// unless that call is what ends it. Movable; an empty one holds no notice. May outlive the host.
///
/// Not thread-safe: use it from one thread at a time. Not real-time safe.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  /// For hosts: destroying `registration` ends the notice.
  explicit Subscription(std::shared_ptr<void> registration) : mRegistration(std::move(registration)) {}

  /// Ends the notice; does nothing if empty.
  void reset() { mRegistration.reset(); }
  /// Whether it holds a notice.
  explicit operator bool() const { return mRegistration != nullptr; }

 private:
  std::shared_ptr<void> mRegistration;
};

}  // namespace orvane::platform
