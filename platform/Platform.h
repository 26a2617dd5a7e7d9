// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"

namespace orvane::platform {

class ConvertingFile;
class DeviceReport;
class EventLoop;
class FileReport;
class Json;
class Log;
class RunControl;
class Scheduler;
class SessionService;
class UnitService;

/// The services of a host, one role each. A null role is not available on the host: operations that need it raise "ROLE
/// is not available on this host". Without a log, nothing is logged. A plain value: a test can copy the set, replace a
/// role and pass the set to `use`.
struct Platform {
  std::shared_ptr<Log> log;
  std::shared_ptr<Json> json;
  std::shared_ptr<Scheduler> scheduler;
  std::shared_ptr<EventLoop> eventLoop;
  std::shared_ptr<SessionService> sessions;
  std::shared_ptr<UnitService> units;
  std::shared_ptr<ConvertingFile> convertingFiles;
  std::shared_ptr<DeviceReport> deviceReport;
  std::shared_ptr<RunControl> runControl;
  std::shared_ptr<FileReport> fileReport;
};

/// Returns the services in use. The first call without an earlier `use` makes the default host, the first of
/// `availableHosts()` with its default options, and throws what making it throws. Thread-safe; not real-time safe.
ORVANE_EXPORT Platform current();

/// Puts other services in use. Objects made before keep the services they were made with. The earlier host is destroyed
/// if nothing else holds its services. Thread-safe; not real-time safe.
ORVANE_EXPORT void use(Platform platform);

}  // namespace orvane::platform
