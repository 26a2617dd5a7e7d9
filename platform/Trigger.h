// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

namespace orvane::platform {

/// Runs a task of a worker at a word from anywhere: how the device callback wakes a worker. Made by
/// `Worker::makeTrigger`.
///
/// Destroying it drops a run that has not begun and waits for one that is under way, unless that run is what destroys
/// it. It may outlive its worker; it then does nothing.
class ORVANE_EXPORT Trigger {
 public:
  virtual ~Trigger() = default;

  /// Runs the task soon. Fires that come before that run begins count as one; one that comes during the run leads to
  /// another. Any thread; real-time safe at both paces.
  virtual void fire() = 0;
};

}  // namespace orvane::platform
