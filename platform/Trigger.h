// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

namespace orvane::platform {

/// A trigger makes a worker run a certain task. The device callback uses triggers to wake workers. Created by
/// `Worker::makeTrigger`.
///
/// Destroying a trigger drops a run of its task that has not begun and waits for one in progress, except if the task
/// itself destroys the trigger. A trigger may outlive its worker; firing it then does nothing.
class ORVANE_EXPORT Trigger {
 public:
  virtual ~Trigger() = default;

  /// Makes the task run soon. Several calls before the run begins cause one run; a call during the run causes another
  /// run. Thread-safe; real-time safe in real and in simulated time.
  virtual void fire() = 0;
};

}  // namespace orvane::platform
