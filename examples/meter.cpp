// SPDX-License-Identifier: MIT

// Shows five seconds of the microphone's level as bars on the terminal. The optional argument has the settings of the
// simulated device.
#include <cstdint>
#include <cstdio>

#include "iounit/AOMeter.h"
#include "platform/DeviceReport.h"
#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/PlatformException.h"
#include "platform/RunControl.h"
#include "session/OVSession.h"

namespace platform = orvane::platform;

int main(int count, char** arguments) try {
  platform::use(platform::makeSimulatedHost(count > 1 ? arguments[1] : "mic=tone:440:0.5"));
  const platform::Platform host = platform::current();
  host.eventLoop->watchSignals();

  const auto session = OVSession::init();
  session->setCategory("PlayAndRecord");
  session->activate();
  const auto meter = AOMeter::init();
  meter->setSession(session);

  host.runControl->endAfterFrames(static_cast<std::uint64_t>(5 * host.deviceReport->hardwareInput().sampleRate()));
  const auto end = host.runControl->onDeviceEnd([&] { host.eventLoop->stop(); });
  meter->start();
  host.eventLoop->run();
  meter->stop();

  // If the device ended the run early, report a failure.
  if (const auto failure = host.deviceReport->deviceFailure()) {
    throw platform::PlatformException("DeviceException", failure->reason);
  }
} catch (const platform::PlatformException& failure) {
  std::fprintf(stderr, "meter: %s\n", failure.what());
  return 1;
}
