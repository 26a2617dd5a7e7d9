// SPDX-License-Identifier: MIT

// A process that uses the shared library on a private sound server, as a harness does.

#include <dlfcn.h>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "iounit/OVTestTone.h"
#include "midi/OVMIDIMonitor.h"
#include "midi/OVMIDISend.h"
#include "platform/DeviceReport.h"
#include "platform/Hosts.h"
#include "platform/MidiReport.h"
#include "platform/Platform.h"
#include "platform/Scheduler.h"
#include "platform/Waiter.h"
#include "platform/backend/Backend.h"
#include "platform/backend/BackendModule.h"
#include "platform/backend/MidiTransport.h"
#include "session/OVTException.h"
#include "tests/platform/pipewire/PrivateServer.h"
#include "tests/support/Test.h"
#include "version.h"

namespace orvane::test {
namespace {

using namespace std::chrono_literals;

/// Counts of objects that a process could leak, in the process and in the server.
struct Holdings {
  std::ptrdiff_t descriptors = 0;
  std::ptrdiff_t threads = 0;
  std::ptrdiff_t objects = 0;  ///< Nodes, ports and links of the server.
  bool operator==(const Holdings&) const = default;
  friend std::ostream& operator<<(std::ostream& stream, const Holdings& holdings) {
    return stream << holdings.descriptors << " descriptors, " << holdings.threads << " threads, " << holdings.objects
                  << " objects";
  }
};

Holdings holdings() {
  const auto entries = [](const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
  };
  const std::string objects = run("pw-cli ls").output;
  return {entries("/proc/self/fd"), entries("/proc/self/task"), std::ranges::count(objects, '\n')};
}

/// The memory of this process that is in use, in bytes. A sanitizer keeps what was released for a while; it looks for
/// leaks itself.
std::uint64_t residentBytes() {
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
  return 0;
#endif
#endif
  std::ifstream counts("/proc/self/statm");
  std::uint64_t all = 0;
  std::uint64_t resident = 0;
  counts >> all >> resident;
  return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

/// Plays a tone for a moment. Returns whether frames were played.
bool play() {
  const auto report = platform::current().deviceReport;
  const std::uint64_t before = report->runCount().frames;
  const auto tone = OVTestTone::init();
  tone->start();
  const bool plays = await([&] { return report->runCount().frames > before; });
  tone->stop();
  return plays;
}

TEST(ServerProcess, LeaksNothingInManyStarts) {
  const PrivateServer server;
  platform::use(platform::makeHost("pipewire"));
  ASSERT_TRUE(play());
  const Holdings before = holdings();
  std::uint64_t memory = 0;
  for (int start = 0; start < 100; ++start) {
    ASSERT_TRUE(play()) << "start " << start;
    if (start == 50) memory = residentBytes();
  }
  constexpr std::uint64_t allowed = 512 << 10;
  EXPECT_LE(residentBytes(), memory + allowed);
  await([&] { return holdings() == before; });
  EXPECT_EQ(holdings(), before);
  platform::use(platform::makeSimulatedHost());
}

/// Sends to one program and listens to another one for a moment.
void exchangeMidi(int number) {
  const auto monitor = OVMIDIMonitor::init();
  monitor->setSourceEndpointName("OVMIDISend:Output port");
  monitor->start();
  const auto sender = OVMIDISend::init();
  sender->setDestinationEndpointName("midi-dump:input");
  testing::internal::CaptureStdout();
  char text[16];
  std::snprintf(text, sizeof text, "90 %02X 7F", static_cast<unsigned>(number));
  sender->send(text);
  EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::EndsWith(std::string("]: ") + text + "\n"));
  monitor->stop();
}

TEST(ServerProcess, LeaksNothingInManyExchangesOfMidi) {
  const PrivateServer server;
  const Program dump("pw-mididump");
  const Program source("sleep 60 | " ORVANE_TOOL " midi send -i");
  await([] { return run("pw-link -io").output.find("OVMIDISend:Output port") != std::string::npos; });
  await([] { return run("pw-link -io").output.find("midi-dump:input") != std::string::npos; });
  platform::use(platform::makeHost("pipewire"));
  exchangeMidi(100);
  await([] { return !platform::current().midiReport->isActive(); });
  const Holdings before = holdings();
  for (int start = 0; start < 100; ++start) exchangeMidi(start);
  await([&] { return holdings() == before; });
  EXPECT_EQ(holdings(), before);
  // Every message has left before its port went, unless a discontinuity counts its loss.
  const auto report = platform::current().midiReport;
  std::uint64_t notes = 0;
  await([&] {
    const std::string shown = dump.output();
    notes = static_cast<std::uint64_t>(std::ranges::count(shown, '\n'));
    return notes + report->discontinuities() >= 101;
  });
  EXPECT_GE(notes, 99U);
  platform::use(platform::makeSimulatedHost());
}

TEST(ServerProcess, UsesOneConnectionForSoundAndMidi) {
  const PrivateServer server;
  const auto clients = [] { return std::stoi(run("pw-cli ls Client | grep -c pipewire.sec.pid").output); };
  const Program source("sleep 60 | " ORVANE_TOOL " midi send -i");
  await([] { return run("pw-link -o").output.find("OVMIDISend:Output port\n") != std::string::npos; });
  const int before = clients();
  platform::use(platform::makeHost("pipewire"));
  const auto sender = OVMIDISend::init();
  const auto tone = OVTestTone::init();
  tone->start();
  const auto monitor = OVMIDIMonitor::init();
  const auto isLinked = [] { return run("pw-link -l").output.find("|-> OVMIDIMonitor") != std::string::npos; };
  for (int start = 0; start < 2; ++start) {
    monitor->start();
    EXPECT_TRUE(isLinked()) << "start " << start;
    monitor->stop();
    EXPECT_TRUE(await([&] { return !isLinked(); }));
  }
  EXPECT_EQ(clients(), before + 1);
  const auto report = platform::current().deviceReport;
  EXPECT_TRUE(await([&] { return report->runCount().frames > 0; }));
  EXPECT_THAT(run("pw-link -io").output, testing::HasSubstr("OVMIDISend:Output port"));
  tone->stop();
  platform::use(platform::makeSimulatedHost());
}

TEST(ServerProcess, FindsTheServerAgainAfterEachRestart) {
  PrivateServer server;
  platform::use(platform::makeHost("pipewire"));
  ASSERT_TRUE(play());
  const Holdings before = holdings();
  const auto report = platform::current().deviceReport;
  for (int restart = 0; restart < 20; ++restart) {
    const auto tone = OVTestTone::init();
    tone->start();
    server.kill();
    await([&] { return report->deviceEnd() == platform::DeviceEnd::failed; });
    EXPECT_EQ(report->deviceFailure()->status, platform::status::serverLost);
    EXPECT_THROW(OVTestTone::init()->start(), OVTException) << "there is no server";
    tone->stop();
    server.start();
    ASSERT_TRUE(play()) << "restart " << restart;
  }
  await([&] { return holdings() == before; });
  EXPECT_EQ(holdings(), before);
  platform::use(platform::makeSimulatedHost());
}

TEST(ServerProcess, AnswersSeveralThreadsAtATime) {
  for (int round = 0; round < 10; ++round) {
    const PrivateServer server;
    platform::use(platform::makeHost("pipewire"));
    const auto report = platform::current().deviceReport;
    std::atomic<int> answers = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        if (!report->whyUnavailable() && report->hardwareOutput().channelCount() == 2) ++answers;
      });
    }
    EXPECT_TRUE(play());
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(answers, 4);
    platform::use(platform::makeSimulatedHost());
  }
}

/// A receiver that counts losses.
struct LossCounter final : backend::MidiTransportCallback {
  bool received(const backend::MidiEvent&) override { return true; }
  void dropped(std::uint64_t) override {}
  void cycleEnded() override {}
  platform::Worker& deliveryWorker() override { std::abort(); }
  std::weak_ptr<void> lifetime() override { return {}; }
  void deliver(const backend::MidiEvent&) override {}
  void delivered() override {}
  void changed(backend::MidiChange) override {}
  void sourcePlays(int) override {}
  void becameIdle() override {}
  void endpointLost(platform::Failure) override {}
  void lost(platform::Failure) override { ++losses; }
  int losses = 0;
};

TEST(ServerProcess, ALostMidiConnectionIsReportedBeforeItCouldBeReplaced) {
  PrivateServer server;
  // In simulated time the transport's worker runs only while this thread waits.
  const platform::Platform host = platform::makeSimulatedHost("pace=fast");
  void* const module = dlopen(ORVANE_PIPEWIRE_MODULE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << dlerror();
  const auto make = reinterpret_cast<backend::MakeBackend>(dlsym(module, backend::makeBackendName));
  LossCounter counter;
  backend::Backend made;
  make({host.log, host.scheduler, [](void (*part)(void*), void* data) { part(data); }}, {}, made);
  made.midi->attach(counter);
  ASSERT_FALSE(made.midi->start());
  server.kill();
  server.start();
  EXPECT_TRUE(await([&] { return made.midi->whyUnavailable().has_value(); })) << "not the new server";
  EXPECT_EQ(counter.losses, 0);
  host.scheduler->makeWaiter()->wait(1ms);
  EXPECT_EQ(counter.losses, 1);
  made.midi->detach();
}

TEST(ServerProcess, RefusesALibraryOfAnotherVersion) {
  void* const module = dlopen(ORVANE_PIPEWIRE_MODULE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << dlerror();
  const auto refuse = reinterpret_cast<const char* (*)(const char*)>(dlsym(module, "orvane_refuse_library"));
  EXPECT_EQ(refuse(ORVANE_VERSION_STRING), nullptr);
  EXPECT_STREQ(refuse("9.8.7"), "the sound server's module has version " ORVANE_VERSION_STRING
                                ", the library has version 9.8.7; install both together");
}

TEST(ServerProcess, NamesAWrongOption) {
  const auto reasonOf = [](const std::string& options) {
    try {
      platform::makeHost("pipewire", options);
    } catch (const platform::PlatformException& refusal) {
      return refusal.reason();
    }
    return std::string();
  };
  EXPECT_EQ(reasonOf("rate=fast"), "rate=fast: it takes a whole number from 1 to 768000");
  EXPECT_EQ(reasonOf("slice=8193"), "slice=8193: it takes a whole number from 1 to 8192");
  EXPECT_EQ(reasonOf("device=x"), "unknown key \"device\"; the keys are input, output, rate and slice");
  EXPECT_EQ(reasonOf("input="), "input needs a value");
  EXPECT_EQ(reasonOf("input=a\\,b,output=c\\\\d,rate=48000"), "");
}

}  // namespace
}  // namespace orvane::test
