// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/Log.h"
#include "platform/PlatformError.h"
#include "platform/PlatformException.h"
#include "platform/Status.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/graph/GraphFailures.h"
#include "platform/host/units/IoUnit.h"

namespace orvane::host {

/// The part of an engine that its nodes share: the I/O unit through which it captures and plays, and the record of its
/// failures.
struct GraphCore {
  GraphCore(std::shared_ptr<HostContext> hostContext, const std::shared_ptr<AudioHub>& hub)
      : context(std::move(hostContext)), unit(std::make_shared<IoUnit>(context, hub)), failures(context->notices()) {}

  /// Logs a failure that no caller sees.
  void log(const platform::Failure& failure) const {
    context->log->write(platform::LogLevel::error, failure.call + " failed: " + failure.reason);
  }
  /// Returns the status of the host's failure that a message quotes, or success if it quotes none.
  platform::Status statusBehind(const std::string& message) const {
    for (const auto& known : {context->lastRefusal(), context->writeFailures.first()}) {
      if (known && !known->reason.empty() && message.find(known->reason) != std::string::npos) return known->status;
    }
    return platform::status::success;
  }
  /// Refuses `call` for the reason of `failure` by throwing an exception. Logs and stores the refusal.
  [[noreturn]] void refuse(platform::Failure failure, const char* call) const {
    failure.call = call;
    const std::string reason = failure.reason;
    context->refuse(std::move(failure));
    throw platform::PlatformException("GraphException", reason);
  }

  const std::shared_ptr<HostContext> context;
  const std::shared_ptr<IoUnit> unit;
  GraphFailures failures;
};

}  // namespace orvane::host
