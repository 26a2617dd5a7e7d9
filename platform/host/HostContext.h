// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/Log.h"
#include "platform/PlatformError.h"
#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "platform/host/CallGate.h"
#include "platform/host/audio/RunEnd.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/report/Notices.h"
#include "platform/host/report/RunRecords.h"
#include "platform/host/sessions/HostSessions.h"

namespace orvane::host {

/// The services and state shared by all parts of one host and its back end: log, scheduler, call gate, sessions, and
/// the records for the host's reports. Thread-safe. Members are real-time safe only if their own description says so.
class HostContext {
 public:
  /// The kind of scheduler: real time (`RealPace`), or simulated time, faster than real time (`FastPace`).
  enum class Pace { real, fast };

  explicit HostContext(Pace pace);
  HostContext(const HostContext&) = delete;
  HostContext& operator=(const HostContext&) = delete;

  /// Logs "CALL failed: REASON" as an error, stores the failure for `lastRefusal`, and returns the failure's status.
  platform::Status refuse(platform::Failure failure);
  /// Stores a failure for `lastRefusal` that its caller logs.
  void keepRefusal(platform::Failure failure) { mRefusals->record(std::move(failure)); }
  /// Asks the gate whether a scenario refuses `call`. If so, logs and stores the refusal as `refuse` does and returns
  /// its status; otherwise returns `std::nullopt`. Must not be used on the device callback, which asks `gate` directly.
  std::optional<platform::Status> refusalOf(const GatedCall& call);
  /// Like `refuse`, but returns the failure as an error.
  platform::PlatformError refuseWithError(platform::Failure failure);
  /// Like `refusalOf`, but returns the refusal as an error.
  std::optional<platform::PlatformError> errorOf(const GatedCall& call);
  /// Returns the last refused call, as `platform::DeviceReport::lastRefusal` does.
  std::optional<platform::Failure> lastRefusal() const { return mRefusals->last(); }

  /// Returns the worker on which all notices of the host run.
  NoticeWorker& notices() { return mNotices; }

  /// A function that is called before each write to a file; while it returns true, the disk is treated as full. By
  /// default it returns false. It must be thread-safe and be set before the host is used.
  std::function<bool()> diskIsFull = [] { return false; };

  /// Claims on input files, which must not be overwritten while the host exists. Must be set before the host is used.
  std::vector<std::shared_ptr<const ReadClaim>> inputFiles;

  const std::shared_ptr<platform::Log> log;
  const std::shared_ptr<platform::Scheduler> scheduler;
  const std::shared_ptr<CallGate> gate;

 private:
  const std::shared_ptr<RefusalRecord> mRefusals;  ///< Shared with sessions, which may outlive the host.
  NoticeWorker mNotices;

 public:
  RunEnd runEnd;
  FirstFailure writeFailures;
  FileRecord files;
  const std::shared_ptr<HostSessions> sessions;
};

}  // namespace orvane::host
