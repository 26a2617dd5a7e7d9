#include "platform/host/Host.h"

#include <utility>

#include "platform/host/HostJson.h"
#include "platform/host/HostLog.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/files/HostConvertingFiles.h"
#include "platform/host/report/HostReport.h"
#include "platform/host/sessions/HostSessions.h"
#include "platform/host/time/FastPace.h"
#include "platform/host/time/HostEventLoop.h"
#include "platform/host/time/RealPace.h"
#include "platform/host/units/HostUnits.h"

namespace orvane::host {

Foundation makeFoundation(bool fastPace) {
  Foundation foundation;
  foundation.log = std::make_shared<HostLog>();
  if (fastPace) {
    foundation.scheduler = std::make_shared<FastPace>();
  } else {
    foundation.scheduler = std::make_shared<RealPace>(foundation.log);
  }
  foundation.files = {foundation.scheduler, foundation.log, std::make_shared<FailureRecord>(foundation.scheduler)};
  return foundation;
}

platform::Platform makeHost(const Foundation& foundation, std::unique_ptr<AudioDevice> device) {
  const auto hub = std::make_shared<AudioHub>(std::move(device), foundation.scheduler);
  const auto sessions = std::make_shared<HostSessions>();
  platform::Platform platform;
  platform.log = foundation.log;
  platform.json = std::make_shared<HostJson>();
  platform.scheduler = foundation.scheduler;
  platform.eventLoop = std::make_shared<HostEventLoop>(foundation.scheduler);
  platform.sessions = sessions;
  const auto units = std::make_shared<HostUnits>(
      hub, [sessions](std::uint32_t identifier) { return sessions->find(identifier); }, foundation.log);
  platform.units = units;
  const auto written = std::make_shared<WrittenFileRecord>();
  platform.convertingFiles = std::make_shared<HostConvertingFiles>(hub, foundation.files, written);
  platform.report = std::make_shared<HostReport>(hub, units, foundation.files, written);
  return platform;
}

}  // namespace orvane::host
