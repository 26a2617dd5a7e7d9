// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

#include "platform/Status.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/report/RunRecords.h"
#include "platform/host/units/IoUnit.h"

namespace orvane::host {

/// The part of an engine that its nodes share: the I/O unit through which it captures and plays, and the record of its
/// failures.
struct GraphCore {
  GraphCore(std::shared_ptr<HostContext> hostContext, const std::shared_ptr<AudioHub>& hub)
      : context(std::move(hostContext)), unit(std::make_shared<IoUnit>(context, hub)), failures(context->notices()) {}

  /// Logs and keeps a failure that no caller sees.
  void fail(platform::Failure failure) {
    context->log->write(platform::LogLevel::error, failure.call + " failed: " + failure.reason);
    failures.record(std::move(failure));
  }
  /// Calls `change`, which replaces a closure of the unit. A running unit is started again by this; fails if it is not.
  template <typename Change>
  void changeUnit(Change change) {
    const bool wasRunning = unit->isRunning();
    change(*unit);
    if (!wasRunning || unit->isRunning()) return;
    fail({platform::status::wrongState, "the engine could not start again after its graph was changed",
          "GraphEngine::start"});
  }

  const std::shared_ptr<HostContext> context;
  const std::shared_ptr<IoUnit> unit;
  FirstFailure failures;
};

}  // namespace orvane::host
