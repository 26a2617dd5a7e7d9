// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

namespace orvane::platform {

/// Runs a task on a worker when fired. The device callback uses it to wake a worker. Made by `Worker::makeTrigger`.
///
/// Destroying it drops a run that has not begun and waits for one in progress, unless that run is what destroys it. It
/// may outlive its worker; firing it then does nothing.
class ORVANE_EXPORT Trigger {
 public:
  virtual ~Trigger() = default;

  /// Runs the task soon. Several calls before the run begins cause one run; a call during the run causes another.
  /// Thread-safe; real-time safe at both paces.
  virtual void fire() = 0;
};

}  // namespace orvane::platform
