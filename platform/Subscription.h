// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

namespace orvane::platform {

/// The owner of a subscribed notice (see `RunControl`). Destroying or resetting the subscription unsubscribes the
/// notice and waits for a call of the notice in progress, except if the notice itself does it. Movable. A
/// default-constructed subscription is empty. A subscription may outlive the host.
///
/// Not thread-safe: use it from one thread at a time. Not real-time safe.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  /// Creates a subscription that owns `registration`, an object whose destructor must unsubscribe the notice. Called by
  /// hosts only.
  explicit Subscription(std::shared_ptr<void> registration) : mRegistration(std::move(registration)) {}

  /// Unsubscribes the notice; does nothing if the subscription is empty.
  void reset() { mRegistration.reset(); }
  /// Returns whether the subscription holds a notice.
  explicit operator bool() const { return mRegistration != nullptr; }

 private:
  std::shared_ptr<void> mRegistration;
};

}  // namespace orvane::platform
