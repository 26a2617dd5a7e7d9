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

/// The set of host services, one role each. A role that is null is not available on this host: what needs it raises an
/// `OVTException` that names it, and nothing is logged where there is no log. A plain value: a test copies the set,
/// replaces a role, and hands it to `use`.
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

/// The services in use. Made on first use: a simulated device with its defaults where the library was built without a
/// sound server. Any thread; not real-time safe.
ORVANE_EXPORT Platform current();

/// Puts other services in use. Objects made before keep the services that they were made with. Any thread.
ORVANE_EXPORT void use(Platform platform);

}  // namespace orvane::platform
