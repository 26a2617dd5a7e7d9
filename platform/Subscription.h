// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

namespace orvane::platform {

/// Keeps a notice in force: destroying or resetting it ends the notice and waits for a run of it that is under way,
/// unless that run is what ends it. Movable; an empty one stands for no notice. Belongs to one thread at a time; not
/// real-time safe. May outlive the host.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  /// `registration` ends the notice when it is destroyed.
  explicit Subscription(std::shared_ptr<void> registration) : mRegistration(std::move(registration)) {}

  void reset() { mRegistration.reset(); }
  explicit operator bool() const { return mRegistration != nullptr; }

 private:
  std::shared_ptr<void> mRegistration;
};

}  // namespace orvane::platform
