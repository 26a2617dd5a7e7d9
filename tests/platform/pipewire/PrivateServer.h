// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tests/tools/orvane/Program.h"

namespace orvane::test {

/// Returns the entry of a server's configuration that makes a device: a null sink if `kind` is "Audio/Sink", a virtual
/// source if it is "Audio/Source/Virtual". `channels` are positions such as "FL FR".
inline std::string deviceEntry(const std::string& name, const std::string& kind, const std::string& channels) {
  const auto count = std::ranges::count(channels, ' ') + 1;
  return "{ factory=adapter args={ factory.name=support.null-audio-sink node.name=" + name +
         " node.description=\"The " + name + "\" media.class=" + kind + " audio.channels=" + std::to_string(count) +
         " audio.position=[ " + channels + " ] audio.rate=48000 object.linger=true monitor.channel-volumes=false" +
         " adapter.auto-port-config={ mode=dsp monitor=true position=preserve } } }\n";
}

/// The devices "test.speaker" and "test.microphone", both stereo.
inline std::string stereoDevices() {
  return deviceEntry("test.speaker", "Audio/Sink", "FL FR") +
         deviceEntry("test.microphone", "Audio/Source/Virtual", "FL FR");
}

/// A sound server of a test's own, in a temporary folder. It ends with the test, also if the test is killed.
class PrivateServer {
 public:
  /// The keeper of the names of the default devices: the server itself, or a session manager with a record of its own.
  /// With two records it would be left to chance which one a program reads.
  enum class Defaults { ofServer, ofSessionManager };

  /// `devices` are entries of the configuration.
  explicit PrivateServer(const std::string& devices = stereoDevices(), Defaults defaults = Defaults::ofServer) {
    std::filesystem::permissions(mFolder.path(), std::filesystem::perms::owner_all);
    // The server and every client that the test starts, the tool among them, find it through these.
    setenv("XDG_RUNTIME_DIR", mFolder.path().c_str(), 1);
    setenv("PIPEWIRE_RUNTIME_DIR", mFolder.path().c_str(), 1);
    unsetenv("PIPEWIRE_REMOTE");
    std::ofstream(mFolder.file("server.conf")) << configuration(
        (defaults == Defaults::ofServer ? "{ factory=metadata args={ metadata.name=default } }\n" : "") + devices);
    start();
  }

  void start() {
    mServer = std::make_unique<Program>("setpriv --pdeathsig KILL pipewire -c " + mFolder.file("server.conf"));
    // The server makes its devices before it answers.
    await([] { return run("timeout 2 pw-cli info 0").status == 0; });
  }
  /// Ends the server as a crash would.
  void kill() {
    mServer.reset();
    std::filesystem::remove(mFolder.file("pipewire-0"));
  }
  void send(int signal) const { mServer->send(signal); }
  std::string file(const std::string& name) const { return mFolder.file(name); }

 private:
  static constexpr std::size_t npos = std::string::npos;

  /// A blank stands before each closing brace: the parser overwrites the byte behind a bare value.
  static std::string configuration(const std::string& objects) {
    return R"(context.properties = { core.daemon=true core.name=pipewire-0 support.dbus=false
  default.clock.rate=48000 default.clock.allowed-rates=[ 44100 48000 96000 ] default.clock.quantum=256
  default.clock.min-quantum=64 default.clock.max-quantum=2048 mem.mlock-all=false mem.warn-mlock=false vm.overrides={ } }
context.spa-libs = { audio.convert.*=audioconvert/libspa-audioconvert support.*=support/libspa-support }
context.modules = [
  { name=libpipewire-module-rt args={ rt.prio=60 nice.level=-11 rtportal.enabled=false rtkit.enabled=false }
    flags=[ ifexists nofail ] }
  { name=libpipewire-module-protocol-native } { name=libpipewire-module-profiler } { name=libpipewire-module-metadata }
  { name=libpipewire-module-spa-node-factory } { name=libpipewire-module-client-node }
  { name=libpipewire-module-access } { name=libpipewire-module-adapter } { name=libpipewire-module-link-factory }
  { name=libpipewire-module-session-manager } ]
context.objects = [
  { factory=spa-node-factory args={ factory.name=support.node.driver node.name=Dummy-Driver
    node.group=pipewire.dummy priority.driver=20000 } }
)" + objects +
           "]\n";
  }

  const TemporaryFolder mFolder;
  std::unique_ptr<Program> mServer;
};

/// A signal in which each sample tells its place: 16-bit values that repeat after `period` frames only.
class PlaceSignal {
 public:
  static constexpr int period = 65521;  ///< A prime.

  static float at(std::size_t frame) { return static_cast<float>(code(frame)) / 32768; }
  /// The frame, modulo `period`, that a sample comes from; -1 if it is none of the signal's.
  static int placeOf(float sample) {
    static const std::vector<int> places = [] {
      std::vector<int> table(period);
      for (std::size_t frame = 0; frame < table.size(); ++frame) {
        table[static_cast<std::size_t>(code(frame) + offset)] = static_cast<int>(frame);
      }
      return table;
    }();
    const float scaled = sample * 32768;
    const int value = static_cast<int>(scaled);
    if (static_cast<float>(value) != scaled || value < -offset || value >= period - offset) return -1;
    const auto place = static_cast<std::size_t>(value) + offset;
    return places[place];
  }

 private:
  static constexpr int offset = 32760;
  static int code(std::size_t frame) { return static_cast<int>(frame % period * 7919 % period) - offset; }
};

/// Of the server's devices.
inline constexpr int rate = 48000;
/// Losses of the server's own programs that a test overlooks: they and this machine's other work share two cores.
inline constexpr std::size_t busyLosses = 20;

inline void linkPorts(const std::string& from, const std::string& to) {
  await([&] { return run("pw-link " + from + " " + to + " 2>&1").status == 0; });
}

/// A file that plays into the microphone.
class Feeder {
 public:
  Feeder(const PrivateServer& server, double seconds) {
    Sound sound{.rate = rate, .channels = 2, .samples = {}};
    for (std::size_t frame = 0; frame < static_cast<std::size_t>(seconds * rate); ++frame) {
      sound.samples.insert(sound.samples.end(), {PlaceSignal::at(frame), PlaceSignal::at(frame)});
    }
    const std::string file = server.file("fed.wav");
    writeSound(file, sound);
    mProgram = std::make_unique<Program>(
        "pw-cat -p --target 0 -P '{ node.name=feeder adapter.auto-port-config={ mode=dsp } }' " + file);
    linkPorts("feeder:output_FL", "test.microphone:input_FL");
    linkPorts("feeder:output_FR", "test.microphone:input_FR");
  }

 private:
  std::unique_ptr<Program> mProgram;
};

/// Records two ports of the server.
class Recorder {
 public:
  Recorder(const PrivateServer& server, const std::string& left, const std::string& right)
      : mFile(server.file("heard.wav")),
        mProgram(
            "pw-cat -r --target 0 --format f32 --channels 2 --rate 48000 -P '{ node.name=recorder "
            "adapter.auto-port-config={ mode=dsp } }' " +
            mFile) {
    linkPorts(left, "recorder:input_FL");
    linkPorts(right, "recorder:input_FR");
  }

  Sound finish() {
    mProgram.send(SIGINT);
    mProgram.finish();
    return readSound(mFile);
  }

 private:
  const std::string mFile;
  Program mProgram;
};

/// The number that follows `key` in a text of JSON.
inline double numberOf(const std::string& text, const std::string& key) {
  const std::size_t at = text.find("\"" + key + "\":");
  return at == std::string::npos ? NAN : std::atof(text.c_str() + at + key.size() + 3);
}

/// One channel of a sound.
inline std::vector<float> channelOf(const Sound& sound, std::size_t channel) {
  std::vector<float> samples;
  for (std::size_t i = channel; i < sound.samples.size(); i += static_cast<std::size_t>(sound.channels)) {
    samples.push_back(sound.samples[i]);
  }
  return samples;
}

/// How much of a place signal a channel holds.
struct Heard {
  std::size_t frames = 0;  ///< From the first sample of the signal to the last.
  std::size_t breaks = 0;  ///< Places where the signal jumps or turns silent.
};
inline Heard hear(const std::vector<float>& samples) {
  std::size_t first = 0;
  while (first < samples.size() && samples[first] == 0) ++first;
  std::size_t last = samples.size();
  while (last > first && samples[last - 1] == 0) --last;
  Heard heard{.frames = last - first};
  for (std::size_t i = first + 1; i < last; ++i) {
    if (samples[i - 1] == 0 && samples[i] == 0) continue;
    const int before = PlaceSignal::placeOf(samples[i - 1]);
    if (before < 0 || PlaceSignal::placeOf(samples[i]) != (before + 1) % PlaceSignal::period) ++heard.breaks;
  }
  return heard;
}

}  // namespace orvane::test
