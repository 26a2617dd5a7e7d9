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

/// The services that every part of a host, and its back end, stand on. One object a host, shared by its parts. Any
/// thread; real-time safe only where a member says so.
class HostContext {
 public:
  enum class Pace { real, fast };

  explicit HostContext(Pace pace);
  HostContext(const HostContext&) = delete;
  HostContext& operator=(const HostContext&) = delete;

  /// Logs a refused call as an error, keeps it for `lastRefusal`, and returns its status.
  platform::Status refuse(platform::Failure failure);
  /// Asks the gate about a call that is not made on the device callback; a refusal is logged and kept.
  std::optional<platform::Status> refusalOf(const GatedCall& call);
  std::optional<platform::Failure> lastRefusal() const { return mRefusals->last(); }

  /// True while files cannot be written, as on a full disk: asked before each write.
  std::function<bool()> diskIsFull = [] { return false; };

  /// Files that nobody may overwrite while the host lives. Set before the host is used.
  std::vector<std::shared_ptr<const ReadClaim>> inputFiles;

  const std::shared_ptr<platform::Log> log;
  const std::shared_ptr<platform::Scheduler> scheduler;
  const std::shared_ptr<CallGate> gate;

 private:
  const std::shared_ptr<RefusalRecord> mRefusals;  ///< Sessions share it, which may outlive the host.
  NoticeWorker mNotices;

 public:
  RunEnd runEnd;
  WriteFailures writeFailures;
  FileRecord files;
  const std::shared_ptr<HostSessions> sessions;
};

}  // namespace orvane::host
