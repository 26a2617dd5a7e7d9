// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Failure.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/host/CallGate.h"
#include "platform/host/audio/RunEnd.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/report/Notices.h"
#include "platform/host/report/RunRecords.h"
#include "platform/host/sessions/HostSessions.h"

namespace orvane::host {

/// The services shared by all parts of a host and its back end; one object a host. Thread-safe. Real-time safe only
/// where a member says so.
class HostContext {
 public:
  /// The scheduler to use: by the clock (`RealPace`), or without waiting (`FastPace`).
  enum class Pace { real, fast };

  explicit HostContext(Pace pace);
  HostContext(const HostContext&) = delete;
  HostContext& operator=(const HostContext&) = delete;

  /// Logs "CALL failed: REASON" as an error, keeps the failure for `lastRefusal`, and returns its status.
  platform::Status refuse(platform::Failure failure);
  /// Asks the gate about a call. Logs and keeps a refusal as `refuse` does and returns its status; nothing if the call
  /// is allowed. Not for calls on the device callback, which ask `gate` directly.
  std::optional<platform::Status> refusalOf(const GatedCall& call);
  /// See `platform::DeviceReport::lastRefusal`.
  std::optional<platform::Failure> lastRefusal() const { return mRefusals->last(); }

  /// Simulates a full disk while it returns true; asked before each write to a file. Thread-safe. Default: false. Set
  /// it before the host is used.
  std::function<bool()> diskIsFull = [] { return false; };

  /// Claims on files that must not be overwritten while the host exists. Set them before the host is used.
  std::vector<std::shared_ptr<const ReadClaim>> inputFiles;

  const std::shared_ptr<platform::Log> log;
  const std::shared_ptr<platform::Scheduler> scheduler;
  const std::shared_ptr<CallGate> gate;

 private:
  const std::shared_ptr<RefusalRecord> mRefusals;  ///< Shared with sessions, which may outlive the host.
  NoticeWorker mNotices;

 public:
  RunEnd runEnd;
  WriteFailures writeFailures;
  FileRecord files;
  const std::shared_ptr<HostSessions> sessions;
};

}  // namespace orvane::host
