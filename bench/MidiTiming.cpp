// SPDX-License-Identifier: MIT

// Measures how late MIDI events are in real time: a source plays a file, and a port compares the time stamp of each
// packet with the host clock when its receive function is called. Prints the median and the worst delay.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "platform/Hosts.h"
#include "platform/MidiReport.h"
#include "platform/MidiService.h"
#include "platform/Scheduler.h"

namespace platform = orvane::platform;

namespace {

/// Writes a standard MIDI file with a note every two milliseconds, for two seconds.
void writeNotes(const std::string& path) {
  std::string track;
  for (int note = 0; note < 1000; ++note) track += {'\x02', '\x90', static_cast<char>(note % 128), '\x40'};
  std::ofstream(path, std::ios::binary) << std::string("MThd\0\0\0\6\0\0\0\1\1\xF4MTrk\0\0", 20)
                                        << static_cast<char>(track.size() >> 8) << static_cast<char>(track.size())
                                        << track;
}

}  // namespace

int main() {
  const std::string path = "/tmp/midi-timing-" + std::to_string(getpid()) + ".mid";
  writeNotes(path);
  const platform::Platform host = platform::makeSimulatedHost("midi-in=" + path);
  unlink(path.c_str());
  std::vector<double> delays;
  delays.reserve(1000);
  const platform::Clock& clock = host.scheduler->clock();
  const auto receive = [&](const platform::PacketList& list, void*) {
    const auto now = static_cast<std::uint64_t>(clock.now().count());
    for (const platform::MidiPacket packet : platform::PacketRange(list)) {
      delays.push_back(static_cast<double>(now - packet.timeStamp) * 1e-6);
    }
  };
  platform::MidiObjectRef client{}, port{};
  host.midi->createClient("timing", nullptr, client);
  host.midi->createInputPort(client, "in", receive, port);
  const std::shared_ptr<platform::Waiter> ended = host.scheduler->makeWaiter();
  host.midi->connectSource(port, host.midi->source(0), nullptr);
  const auto end = host.midiReport->onActivityEnd([ended] { ended->signal(); });
  ended->wait(std::chrono::seconds(10));
  host.midi->disposeClient(client);
  if (delays.empty()) return 1;
  std::ranges::sort(delays);
  std::printf("%zu events: median %.3f ms, worst %.3f ms\n", delays.size(), delays[delays.size() / 2], delays.back());
}
