// SPDX-License-Identifier: MIT

// Plays two seconds of a test tone. The optional argument has the settings of the simulated device.
#include <cstdint>
#include <cstdio>

#include "iounit/OVTestTone.h"
#include "platform/DeviceReport.h"
#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/PlatformException.h"
#include "platform/RunControl.h"

namespace platform = orvane::platform;

int main(int count, char** arguments) try {
  platform::use(platform::makeSimulatedHost(count > 1 ? arguments[1] : "speaker=tone.wav,pace=fast"));
  const platform::Platform host = platform::current();

  const auto tone = OVTestTone::init();
  tone->setFrequency(440);
  tone->setMonotone(true);
  host.runControl->endAfterFrames(static_cast<std::uint64_t>(2 * host.deviceReport->hardwareOutput().sampleRate()));
  const auto end = host.runControl->onDeviceEnd([&] { host.eventLoop->stop(); });
  tone->start();
  host.eventLoop->run();
  tone->stop();

  // If the device ended the run early, report a failure.
  if (const auto failure = host.deviceReport->deviceFailure()) {
    throw platform::PlatformException("DeviceException", failure->reason);
  }
} catch (const platform::PlatformException& failure) {
  std::fprintf(stderr, "tone: %s\n", failure.what());
  return 1;
}
