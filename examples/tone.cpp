// Plays two seconds of a test tone. The argument sets up the simulated device.
#include <cstdio>

#include "iounit/OVTestTone.h"
#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/PlatformException.h"
#include "platform/Report.h"

namespace platform = orvane::platform;

int main(int count, char** arguments) try {
  platform::use(platform::makeSimulatedHost(count > 1 ? arguments[1] : "speaker=tone.wav,pace=fast"));
  const platform::Platform host = platform::current();

  const auto tone = OVTestTone::init();
  tone->setFrequency(440);
  tone->setMonotone(true);
  host.report->endAfterFrames(static_cast<std::uint64_t>(2 * host.report->hardwareOutput().sampleRate()));
  host.report->onDeviceEnd([&] { host.eventLoop->stop(); });
  tone->start();
  host.eventLoop->run();
  tone->stop();
} catch (const platform::PlatformException& failure) {
  std::fprintf(stderr, "tone: %s\n", failure.what());
  return 1;
}
