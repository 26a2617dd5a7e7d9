// SPDX-License-Identifier: MIT
#include <fstream>
#include <iostream>
#include <regex>

#include "platform/DeviceReport.h"
#include "platform/EventLoop.h"
#include "platform/Hosts.h"
#include "platform/MidiReport.h"
#include "platform/Scheduler.h"
#include "platform/backend/Backend.h"
#include "platform/backend/MidiQueue.h"
#include "platform/host/Host.h"
#include "platform/host/midi/UniversalPackets.h"
#include "tests/support/ScriptedMidi.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane::test {
namespace {

using backend::MidiEvent;
using platform::HostTime;
using platform::MidiPlayer, platform::MidiSequence;
using Bytes = std::vector<std::uint8_t>;

std::string hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  char digits[8];
  for (const int byte : bytes)
    text += (std::snprintf(digits, sizeof digits, text.empty() ? "%02X" : " %02X", byte), digits);
  return text;
}

/// A transport that a test operates: one device with a source (3) and a destination (4). The host owns it; `State`
/// outlives both.
struct State {
  std::vector<backend::MidiObject> objects = [] {
    std::vector<backend::MidiObject> all(4);
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i].ref = static_cast<MidiObjectRef>(i + 1);
      all[i].parent = static_cast<MidiObjectRef>(std::min<std::size_t>(i, 2));
      all[i].kind = static_cast<MidiObjectKind>(i);
      all[i].uniqueIdentifier = static_cast<std::int32_t>(10 * (i + 1));
      all[i].name = "object " + std::to_string(i + 1);
    }
    return all;
  }();
  backend::MidiLimits limits;
  backend::MidiTransportCallback* callback = nullptr;
  const platform::Clock* clock = nullptr;
  std::optional<platform::Failure> failure;  ///< Why the transport cannot start.
  std::string listened;
  std::string sent;        ///< Each event as "TIME at CLOCK: XX XX\n".
  bool hasRoutes = false;  ///< Whether routes have numbers of their own, from 100 on.
  std::optional<platform::Failure> routeFailure;
  bool isIdle = true;
  MidiObjectRef busyPort{};  ///< A port whose messages have not left.
  std::vector<MidiObjectRef> removed;
  std::string ports;            ///< What was done with ports and routes.
  MidiObjectRef busy{};         ///< A destination for which nothing is taken.
  std::size_t discardable = 0;  ///< How many events `discard` drops.
  backend::MidiBacklog backlog;
  int roomForEvents = 1'000'000;  ///< How many events are taken until `send` returns false, once.
};

class Transport final : public backend::MidiTransport {
 public:
  explicit Transport(std::shared_ptr<State> state) : mState(std::move(state)) {}
  std::optional<platform::Failure> whyUnavailable() const override { return std::nullopt; }
  std::vector<backend::MidiObject> attach(backend::MidiTransportCallback& callback) override {
    mState->callback = &callback;
    return mState->objects;
  }
  void detach() override { mState->callback = nullptr; }
  backend::MidiLimits limits() const override { return mState->limits; }
  std::optional<platform::Failure> start() override { return mState->failure; }
  std::optional<platform::Failure> addPort(const backend::MidiPortLabels& labels) override {
    mState->ports += (labels.isInput ? "in " : "out ") + labels.client + ":" + labels.name + " ";
    return std::nullopt;
  }
  void removePort(MidiObjectRef port) override {
    mState->ports += "removed ";
    mState->removed.push_back(port);
  }
  std::optional<platform::Failure> connect(MidiObjectRef, MidiObjectRef endpoint, MidiObjectRef& route) override {
    route = static_cast<MidiObjectRef>(static_cast<std::uint32_t>(endpoint) + (mState->hasRoutes ? 100 : 0));
    return mState->routeFailure;
  }
  std::size_t discard(MidiObjectRef route) override {
    mState->ports += "discarded " + number(route) + " ";
    return mState->discardable;
  }
  backend::MidiBacklog backlog() const override { return mState->backlog; }
  bool isIdle() const override { return mState->isIdle; }
  bool isIdle(MidiObjectRef port) const override { return port != mState->busyPort; }
  void listen(MidiObjectRef source, bool isConnected) override {
    mState->listened += (isConnected ? "+" : "-") + number(source);
  }
  bool send(const MidiEvent& event) override {
    if (event.endpoint == mState->busy) return false;
    if (mState->roomForEvents == 0) return mState->roomForEvents = 1'000'000, false;
    --mState->roomForEvents;
    mState->sent += std::to_string(event.time.count() - 1'000'000'000) + " at " +
                    std::to_string(mState->clock->now().count() - 1'000'000'000) + ": " + hex(event.bytes) + "\n";
    return true;
  }

 private:
  const std::shared_ptr<State> mState;
};

constexpr MidiObjectRef source{3}, destination{4};
constexpr std::uint64_t start = 1'000'000'000;  ///< The host clock at the beginning, in simulated time.

/// A host in simulated time on a scripted transport, with a client and its ports.
struct HostMidi : testing::Test {
  HostMidi() {
    state->clock = &context->scheduler->clock();
    services.log->setSink([this](platform::LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
  }

  void open() {
    ASSERT_EQ(midi.createClient("test", nullptr, client), 0);
    ASSERT_EQ(midi.createOutputPort(client, "out", output), 0);
    const auto receive = [this](const PacketList& list, void* connection) {
      received += shown(list) + (connection == nullptr ? "" : " with context") + "\n";
      if (onReceive) onReceive();
    };
    ASSERT_EQ(midi.createInputPort(client, "in", receive, input), 0);
  }

  /// Lets the host's clock advance.
  void pass(HostTime time) const { context->scheduler->makeWaiter()->wait(time); }

  Status send(const std::vector<std::pair<std::uint64_t, Bytes>>& packets, MidiObjectRef to = destination) {
    std::vector<std::uint32_t> memory(1 << 16);
    auto& list = *reinterpret_cast<PacketList*>(memory.data());
    std::uint8_t* current = platform::initPacketList(list);
    for (const auto& [time, bytes] : packets)
      current = platform::addToPacketList(list, 4 * memory.size(), current, time, bytes);
    return midi.send(output, to, list);
  }

  /// Makes an event arrive at the source.
  bool arrive(std::int64_t time, const Bytes& bytes, backend::MidiProtocol protocol = {}) const {
    return state->callback->received({HostTime(time), source, bytes, protocol});
  }

  const std::shared_ptr<State> state = std::make_shared<State>();
  const std::shared_ptr<host::HostContext> context = std::make_shared<host::HostContext>(host::HostContext::Pace::fast);
  platform::Platform services = host::makeHost(context, {"scripted", nullptr, std::make_unique<Transport>(state)});
  platform::MidiService& midi = *services.midi;
  platform::MidiReport& report = *services.midiReport;
  MidiObjectRef client{}, output{}, input{};
  std::function<void()> onReceive;
  std::string received, log;
};

TEST_F(HostMidi, SendsEachPacketAtItsTimeInOrder) {
  open();
  EXPECT_EQ(send({{start + 20, {0x92}}, {start + 10, {0x90}}, {0, {0x80}}}), 0);
  EXPECT_EQ(send({{start + 10, {0x91}}, {UINT64_MAX, {0xFF}}}), 0);
  EXPECT_TRUE(report.isActive());
  pass(HostTime(30));
  EXPECT_EQ(std::exchange(state->sent, {}), "0 at 0: 80\n10 at 10: 90\n10 at 10: 91\n20 at 20: 92\n");
  EXPECT_EQ(report.sent().packets, 4U);
  // A busy transport gets the rest in its next cycle, long messages in pieces.
  state->roomForEvents = 1;
  EXPECT_EQ(send({{0, {0xF0, 1, 2, 3, 4, 0xF7}}, {start + 35, {0x90}}}), 0);
  pass(std::chrono::milliseconds(2));
  EXPECT_EQ(state->sent, "30 at 30: F0 01 02 03 04 F7\n35 at 1000035: 90\n");
}

TEST_F(HostMidi, HandsPiecesToATransportThatTakesShortOnesAhead) {
  state->limits = {.maxEventBytes = 2, .lead = HostTime(100), .retry = HostTime(7)};
  open();
  state->roomForEvents = 1;
  EXPECT_EQ(send({{start + 150, {0xF0, 1, 2, 3, 0xF7}}}), 0);
  pass(std::chrono::milliseconds(1));
  EXPECT_EQ(state->sent, "150 at 50: F0 01\n150 at 57: 02 03\n150 at 57: F7\n");
  EXPECT_EQ(report.sent().bytes, 5U);
}

TEST_F(HostMidi, DeliversWhatArrivesAsListsOfASource) {
  open();
  EXPECT_EQ(midi.connectSource(input, source, nullptr), 0);
  for (const auto& [time, bytes] : {std::pair<int, Bytes>{5, {0x90, 1}}, {5, {0x80, 2}}, {6, {0xF0}}, {6, {0xF7}}})
    arrive(time, bytes);
  state->callback->cycleEnded();
  pass({});
  EXPECT_EQ(std::exchange(received, {}), "5: 90 01 80 02; 6: F0; 6: F7\n");
  EXPECT_EQ(report.received().packets, 3U);
  // The context of a second connection replaces that of the first; an unconnected source is not heard.
  int object = 0;
  EXPECT_EQ(midi.connectSource(input, source, &object), 0);
  arrive(7, {0x90});
  state->callback->received({HostTime(7), MidiObjectRef{99}, Bytes{1}});
  state->callback->cycleEnded();
  pass({});
  EXPECT_EQ(std::exchange(received, {}), "7: 90 with context\n");
  // Lists of the longest packets; a full queue refuses and keeps what it has.
  int queued = 0;
  while (arrive(8 + queued, Bytes(65535, 0x11))) ++queued;
  EXPECT_GT(queued, 10);
  state->callback->dropped(3);
  state->callback->cycleEnded();
  pass({});
  EXPECT_EQ(std::ranges::count(received, '\n'), queued);
  EXPECT_EQ(report.dropped(), 3U);
  EXPECT_THAT(log, HasSubstr("MIDI events arrive faster than they are delivered"));
  // A receive function may end its own connection.
  received.clear();
  onReceive = [&] { EXPECT_EQ(midi.disconnectSource(input, source), 0); };
  arrive(9, {0x90});
  state->callback->cycleEnded();
  pass({});
  arrive(10, {0x91});
  state->callback->cycleEnded();
  pass({});
  EXPECT_EQ(received, "9: 90 with context\n");
  EXPECT_EQ(state->listened, "+3-3");
}

TEST_F(HostMidi, RefusesWhatDoesNotExist) {
  EXPECT_EQ(midi.createOutputPort(MidiObjectRef{9}, "", output), platform::status::badParameter);
  open();
  const MidiObjectRef none{};
  for (const Status status :
       {midi.connectSource(output, source, nullptr), midi.connectSource(input, destination, nullptr),
        midi.connectSource(input, none, nullptr), midi.disconnectSource(input, source), midi.disposePort(none),
        midi.disposeClient(input), midi.send(input, destination, {}), midi.send(output, source, {})}) {
    EXPECT_EQ(status, platform::status::badParameter);
  }
  EXPECT_EQ(services.deviceReport->lastRefusal()->call, "MidiService::send");
  EXPECT_EQ(services.deviceReport->lastRefusal()->reason, "no destination has the handle 3");
  const std::vector<std::pair<std::uint64_t, Bytes>> large(20, {start + 1'000'000, Bytes(10'000)});
  Status status = 0;
  int lists = 0;
  while (status == 0 && lists < 1000) status = send(large), ++lists;
  EXPECT_EQ(status, platform::status::overrun);
  EXPECT_EQ(lists, 335) << "64 MiB in lists of four packets, each with 128 bytes of overhead";
  EXPECT_EQ(midi.disposeClient(client), 0);
  EXPECT_EQ(midi.disposePort(output), platform::status::badParameter) << "went with its client";
  MidiObjectRef found{};
  MidiObjectKind kind{};
  EXPECT_EQ(midi.findObject(30, found, kind), 0);
  EXPECT_EQ(found, source);
  EXPECT_EQ(midi.findObject(31, found, kind), platform::status::notFound);
  std::int32_t value = 5;
  EXPECT_EQ(midi.integerProperty(source, "offline", value), platform::status::notFound);
  EXPECT_EQ(midi.integerProperty(MidiObjectRef{77}, "offline", value), platform::status::badParameter);
  EXPECT_EQ(value, 5);
}

TEST_F(HostMidi, ChangesOfTheInventoryReachClientsThroughTheLoop) {
  std::string notices;
  MidiObjectRef notified{};
  const auto notify = [&](const platform::MidiNotification& notification) {
    notices += std::to_string(notification.kind) + " of " + number(notification.child) + ", " +
               std::to_string(midi.numberOfSources()) + " sources; ";
  };
  ASSERT_EQ(midi.createClient("test", notify, notified), 0);
  backend::MidiObject gone = state->objects[1], extra = state->objects[2];
  gone.isPresent = false;
  extra.ref = MidiObjectRef{8};
  extra.name = "new";
  state->callback->changed({{extra}, {.kind = 2, .child = extra.ref}});
  EXPECT_EQ(notices, "") << "not before the loop runs";
  services.eventLoop->stop();
  services.eventLoop->run();
  EXPECT_EQ(std::exchange(notices, {}), "2 of 8, 2 sources; ");
  EXPECT_EQ(midi.source(1), extra.ref);
  EXPECT_EQ(midi.source(MidiObjectRef{2}, 1), extra.ref);
  state->callback->changed({{gone}, {.kind = 3, .child = gone.ref}});
  EXPECT_EQ(midi.numberOfSources() + midi.numberOfDestinations() + midi.numberOfEntities(MidiObjectRef{1}), 0U);
  EXPECT_EQ(midi.numberOfSources(MidiObjectRef{2}), 2U) << "a hidden object still has its children";
  platform::SharedText name;
  EXPECT_EQ(midi.stringProperty(gone.ref, "name", name), 0);
  EXPECT_EQ(*name, "object 2");
  EXPECT_EQ(midi.disposeClient(notified), 0);
  services.eventLoop->stop();
  services.eventLoop->run();
  EXPECT_EQ(notices, "") << "a disposed client is not notified";
}

TEST_F(HostMidi, AClientMayEndInItsNotification) {
  int notices = 0;
  const auto notify = [&](const platform::MidiNotification&) {
    ++notices;
    EXPECT_EQ(midi.disposeClient(client), 0);
  };
  ASSERT_EQ(midi.createClient("test", notify, client), 0);
  for (int change = 0; change < 2; ++change) state->callback->changed({{}, {.kind = 1}});
  services.eventLoop->stop();
  services.eventLoop->run();
  EXPECT_EQ(notices, 1);
}

TEST_F(HostMidi, ADisposedPortReleasesItsFunctionSoon) {
  ASSERT_EQ(midi.createClient("test", nullptr, client), 0);
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> isHeld = held;
  ASSERT_EQ(midi.createInputPort(
                client, "in", [held = std::move(held)](const PacketList&, void*) {}, input),
            0);
  ASSERT_EQ(midi.connectSource(input, source, nullptr), 0);
  arrive(1, {0x90});
  state->callback->cycleEnded();
  pass({});
  ASSERT_EQ(midi.disposePort(input), 0);
  pass({});
  EXPECT_TRUE(isHeld.expired()) << "although nothing arrives any more";
}

TEST_F(HostMidi, ALogSinkMayUseTheService) {
  open();
  services.log->setSink([this](platform::LogLevel, std::string_view line) {
    MidiObjectRef port{};
    if (midi.createOutputPort(client, "of the sink", port) == 0) log += std::string(line) + "\n";
  });
  const MidiObjectRef none{};
  EXPECT_NE(midi.disposePort(none) * midi.disposeClient(none) * midi.createOutputPort(none, "", output), 0);
  EXPECT_NE(services.sequences->disposePlayer({}) * services.sequences->disposeSequence({}), 0);
  EXPECT_EQ(std::ranges::count(log, '\n'), 5);
}

TEST_F(HostMidi, ALostConnectionEndsWhatRuns) {
  open();
  int ends = 0;
  const auto end = report.onActivityEnd([&] { ends += report.isActive() ? 0 : 1; });
  EXPECT_EQ(send({{start + 1000, {0x90}}}), 0);
  state->callback->lost({platform::status::serverLost, "gone", ""});
  pass(HostTime(2000));
  EXPECT_EQ(state->sent, "");
  EXPECT_GE(ends, 1);
  EXPECT_FALSE(report.isActive());
  EXPECT_EQ(report.failure()->reason, "gone");
  EXPECT_EQ(send({{0, {0x90}}}), platform::status::serverLost);
  EXPECT_EQ(midi.connectSource(input, source, nullptr), platform::status::serverLost);
  EXPECT_EQ(midi.createClient("", nullptr, client), platform::status::serverLost);
  EXPECT_EQ(services.deviceReport->lastRefusal()->reason, "gone");
}

TEST_F(HostMidi, PortsExchangeOverTheRoutesOfATransport) {
  state->hasRoutes = true;
  state->limits.joinsExclusive = true;
  open();
  EXPECT_EQ(std::exchange(state->ports, {}), "out test:out in test:in ");
  state->routeFailure = platform::Failure{platform::status::stalled, "no link"};
  EXPECT_EQ(midi.connectSource(input, source, nullptr), platform::status::stalled);
  EXPECT_EQ(send({{0, {0x90}}}), platform::status::stalled);
  state->routeFailure.reset();
  ASSERT_EQ(midi.connectSource(input, source, this), 0);
  EXPECT_EQ(state->listened, "+103");
  const auto arriveOnRoute = [&](const Bytes& bytes) {
    return state->callback->received({HostTime(start), MidiObjectRef{103}, bytes, {}});
  };
  EXPECT_TRUE(arriveOnRoute({0xF0, 1}) && arriveOnRoute({2, 0xF7}) && arrive(start, {0x90}));
  state->callback->cycleEnded();
  pass(HostTime(1));
  EXPECT_EQ(received, "1000000000: F0 01 02 F7 with context\n") << "joined; nothing without a route";
  ASSERT_EQ(midi.disconnectSource(input, source), 0);
  EXPECT_EQ(state->listened, "+103-103");

  // A port whose messages have not left yet stays.
  state->isIdle = false;
  state->busyPort = output;
  EXPECT_EQ(send({{0, {0x90}}}), 0);
  ASSERT_EQ(midi.disposePort(output), 0);
  pass(HostTime(1));
  EXPECT_TRUE(report.isActive());
  EXPECT_EQ(state->ports, "");
  state->isIdle = true;
  state->callback->becameIdle();
  EXPECT_EQ(state->ports, "removed ");
}

TEST_F(HostMidi, AnOutputPortGoesWhenItsOwnPacketsHaveLeft) {
  open();
  // Something else stays active all the time.
  state->isIdle = false;
  MidiObjectRef others[3] = {};
  for (MidiObjectRef& port : others) ASSERT_EQ(midi.createOutputPort(client, "other", port), 0);
  EXPECT_EQ(midi.disposePort(others[0]), 0);
  EXPECT_THAT(state->removed, testing::ElementsAre(others[0])) << "it has sent nothing";
  state->busyPort = others[1];
  EXPECT_EQ(midi.disposePort(others[1]), 0);
  EXPECT_EQ(send({{start + 5'000'000'000, {0x90}}}), 0);
  EXPECT_EQ(midi.disposePort(output), 0);
  pass(1s);
  EXPECT_EQ(state->removed.size(), 1U);
  state->busyPort = {};
  pass(3s);
  EXPECT_THAT(state->removed, testing::ElementsAre(others[0], others[1]));
  pass(10s);
  EXPECT_THAT(state->removed, testing::ElementsAre(others[0], others[1], output));
  EXPECT_THAT(state->sent, testing::StartsWith("5000000000 at 5000000000: 90"));
}

TEST_F(HostMidi, ARemovedEndpointIsAFailureOfTheRunOnly) {
  open();
  int ends = 0;
  const auto end = report.onActivityEnd([&] { ++ends; });
  state->callback->endpointLost({platform::status::deviceLost, "the source was removed"});
  pass(HostTime(1));
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(report.failure()->reason, "the source was removed");
  EXPECT_EQ(send({{0, {0x90}}}), 0) << "other endpoints go on working";
  EXPECT_FALSE(report.whyUnavailable());
  state->callback->lost({platform::status::serverLost, "gone"});
  EXPECT_EQ(report.failure()->reason, "gone");
}

TEST_F(HostMidi, ATransportThatCannotStartRefusesClients) {
  state->failure = {platform::status::ioFailure, "broken", ""};
  EXPECT_EQ(midi.createClient("", nullptr, client), platform::status::ioFailure);
  EXPECT_EQ(client, MidiObjectRef::none);
  const auto without = host::makeHost(context, {"none", nullptr, nullptr});
  EXPECT_EQ(without.midi, nullptr);
  EXPECT_EQ(without.midiReport->whyUnavailable()->reason, "the host has no MIDI");
}

TEST_F(HostMidi, PlayersHandOutEventsAheadAndTakeThemBack) {
  state->limits.lead = std::chrono::milliseconds(15);
  platform::SequencePlayer& sequences = *services.sequences;
  MidiSequence sequence{};
  MidiPlayer player{};
  // Notes at 0, 10, 20 and 30 ms.
  const TemporaryFolder folder;
  std::ofstream(folder.file("notes.mid"), std::ios::binary)
      << std::string("MThd\0\0\0\6\0\0\0\1\0\x32MTrk\0\0\0\x10", 22)
      << std::string("\0\x90\0\1\1\x90\1\1\1\x90\2\1\1\x90\3\1", 16);
  ASSERT_EQ(sequences.newSequence(sequence), 0);
  ASSERT_EQ(sequences.newPlayer(player), 0);
  ASSERT_EQ(sequences.loadFile(sequence, folder.file("notes.mid")), 0);
  ASSERT_EQ(sequences.setSequence(player, sequence), 0);
  ASSERT_EQ(sequences.setDestination(sequence, destination), 0);
  ASSERT_EQ(sequences.start(player), 0);
  pass(std::chrono::milliseconds(12));
  EXPECT_EQ(std::exchange(state->sent, {}), "15000000 at 0: 90 00 01\n25000000 at 10000000: 90 01 01\n");
  state->discardable = 2;
  ASSERT_EQ(sequences.stop(player), 0);
  EXPECT_EQ(std::exchange(state->ports, {}), "out OVMIDIPlayer:Output port discarded 4 ");
  ASSERT_EQ(sequences.start(player), 0);
  pass(std::chrono::milliseconds(100));
  EXPECT_EQ(state->sent,
            "27000000 at 12000000: 90 00 01\n37000000 at 22000000: 90 01 01\n"
            "47000000 at 32000000: 90 02 01\n57000000 at 42000000: 90 03 01\n");
  EXPECT_EQ(sequences.disposePlayer(player), 0);
  EXPECT_EQ(state->ports, "removed ");
}

TEST_F(HostMidi, AStoppedPlayerGoesOnWithWhatHasNotLeft) {
  state->limits.lead = std::chrono::milliseconds(15);
  platform::SequencePlayer& sequences = *services.sequences;
  MidiSequence sequence{};
  MidiPlayer player{};
  // Notes at 0, 10 and 20 ms.
  const TemporaryFolder folder;
  std::ofstream(folder.file("notes.mid"), std::ios::binary)
      << std::string("MThd\0\0\0\6\0\0\0\1\0\x32MTrk\0\0\0\x0C", 22)
      << std::string("\0\x90\0\1\1\x90\1\1\1\x90\2\1", 12);
  ASSERT_EQ(sequences.newSequence(sequence) + sequences.newPlayer(player), 0);
  ASSERT_EQ(sequences.loadFile(sequence, folder.file("notes.mid")), 0);
  ASSERT_EQ(sequences.setSequence(player, sequence), 0);
  ASSERT_EQ(sequences.setDestination(sequence, destination), 0);
  const auto play = [&](int milliseconds) {
    EXPECT_EQ(sequences.start(player), 0);
    pass(std::chrono::milliseconds(milliseconds));
    EXPECT_EQ(sequences.stop(player), 0);
    return std::regex_replace(std::exchange(state->sent, {}), std::regex("[^:]*: 90 0(.) 01\n"), "$1 ");
  };
  state->discardable = 1;
  EXPECT_EQ(play(22), "0 1 2 ") << "the last one is handed out and taken back before its time";
  state->discardable = 0;
  EXPECT_EQ(play(14), "2 ") << "it has left, although its time has not come";
  EXPECT_EQ(play(50), "");
  EXPECT_EQ(report.sent().packets, 4U);

  // What the transport has not taken yet belongs to the player, too.
  ASSERT_EQ(sequences.setSequence(player, sequence), 0);
  state->busy = destination;
  EXPECT_EQ(play(30), "");
  pass(std::chrono::milliseconds(30));
  EXPECT_FALSE(report.isActive());
  state->busy = {};
  EXPECT_EQ(play(100), "0 1 2 ");
}

TEST_F(HostMidi, ADestinationDoesNotDelayOthersAndAheadDoesNotDelayDue) {
  state->limits.lead = std::chrono::milliseconds(50);
  open();
  backend::MidiObject other = state->objects[3];
  other.ref = MidiObjectRef{5};
  state->callback->changed({.objects = {other}});
  state->busy = destination;
  EXPECT_EQ(send({{start, {0x90}}}), 0);
  EXPECT_EQ(send({{start + 40'000'000, {0x91}}}, other.ref), 0);
  pass(std::chrono::milliseconds(5));
  EXPECT_EQ(std::exchange(state->sent, {}), "40000000 at 0: 91\n");
  EXPECT_EQ(send({{start + 20'000'000, {0x92}}, {0, {0x93}}, {start + 45'000'000, {0x94}}}, other.ref), 0);
  pass(std::chrono::milliseconds(20));
  EXPECT_EQ(std::exchange(state->sent, {}),
            "5000000 at 5000000: 93\n20000000 at 20000000: 92\n45000000 at 20000000: 94\n");
  state->busy = {};
  pass(std::chrono::milliseconds(2));
  EXPECT_EQ(state->sent, "0 at 25000000: 90\n");
  // A packet counts once it has left.
  state->backlog = {.waiting = {1, 1}, .lost = {2, 2}};
  EXPECT_EQ(report.sent().packets, 2U);
}

TEST_F(HostMidi, TheExitOfTheProcessWaitsForADeliveryThatMakesProgress) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto exitWith = [this](MidiObjectRef busy, int room) {
    services.log->setSink([](platform::LogLevel, std::string_view line) { std::cerr << line << "\n"; });
    open();
    EXPECT_EQ(send({{0, {0x90}}, {1, {0xC0, 1}}, {start + 10'000'000'000, {0xFF}}}), 0);
    state->busy = busy;
    state->roomForEvents = room;
    std::exit(0);
  };
  EXPECT_EXIT(exitWith(destination, 9), testing::ExitedWithCode(0),
              "2 MIDI packets were lost: no destination took any");
  EXPECT_EXIT(exitWith(MidiObjectRef::none, 1), testing::ExitedWithCode(0), "^$") << "busy once";
}

TEST_F(HostMidi, PlayersGoOnWhereTheyWereStopped) {
  platform::SequencePlayer& sequences = *services.sequences;
  MidiSequence sequence{};
  MidiPlayer player{};
  // Notes at 0, 10, 20, 20 and 30 ms.
  std::string track;
  for (const char delta : std::string("\0\1\1\0\1", 5)) track += {delta, '\x90', static_cast<char>(track.size()), 1};
  std::string content = std::string("MThd\0\0\0\6\0\0\0\1", 12) + std::string("\0\x32MTrk\0\0\0", 9) +
                        static_cast<char>(track.size()) + track;
  const TemporaryFolder folder;
  const std::string path = folder.file("notes.mid");
  std::ofstream(path, std::ios::binary) << content;
  ASSERT_EQ(sequences.newSequence(sequence), 0);
  ASSERT_EQ(sequences.newPlayer(player), 0);
  EXPECT_EQ(sequences.start(player), platform::status::wrongState) << "no sequence";
  EXPECT_EQ(sequences.loadFile(sequence, "/no/such/file"), platform::status::notFound);
  ASSERT_EQ(sequences.loadFile(sequence, path), 0);
  ASSERT_EQ(sequences.setSequence(player, sequence), 0);
  EXPECT_EQ(sequences.start(player), platform::status::wrongState) << "no destination";
  EXPECT_EQ(sequences.setDestination(sequence, source), platform::status::badParameter);
  ASSERT_EQ(sequences.setDestination(sequence, destination), 0);
  ASSERT_EQ(sequences.start(player), 0);
  EXPECT_EQ(sequences.setSequence(player, sequence), platform::status::wrongState);
  pass(std::chrono::milliseconds(15));
  ASSERT_EQ(sequences.stop(player), 0);
  EXPECT_FALSE(sequences.isPlaying(player));
  pass(std::chrono::milliseconds(100));
  EXPECT_EQ(std::exchange(state->sent, {}), "0 at 0: 90 00 01\n10000000 at 10000000: 90 04 01\n");
  ASSERT_EQ(sequences.start(player), 0);
  ASSERT_EQ(sequences.start(player), 0) << "it is playing already";
  EXPECT_EQ(sequences.disposeSequence(sequence), 0) << "the player keeps the content";
  pass(std::chrono::milliseconds(100));
  EXPECT_EQ(std::exchange(state->sent, {}),
            "120000000 at 120000000: 90 08 01 90 0C 01\n130000000 at 130000000: 90 10 01\n");
  EXPECT_FALSE(sequences.isPlaying(player));
  ASSERT_EQ(sequences.start(player), 0) << "at the end there is nothing to play";
  pass(std::chrono::milliseconds(1));
  EXPECT_FALSE(report.isActive());
  EXPECT_EQ(state->sent, "");
  EXPECT_EQ(sequences.disposePlayer(player), 0);
  EXPECT_EQ(sequences.stop(player), platform::status::badParameter);
}

TEST(UniversalPackets, BecomeMessagesOfTheByteStream) {
  const std::pair<std::vector<std::uint32_t>, std::string> cases[] = {
      {{0x20903C7F, 0x20C10500, 0x10F80000, 0x10F20102}, "90 3C 7F|C1 05|F8|F2 01 02|"},
      {{0x30030102, 0x03000000}, "F0 01 02 03 F7|"},
      {{0x30160102, 0x03040506, 0x30210700, 0, 0x30310800, 0}, "F0 01 02 03 04 05 06|07|08 F7|"},
      {{0x40903C00, 0x00010000, 0x40803C00, 0xFFFF0000}, "90 3C 01|80 3C 7F|"},
      {{0x40B00700, 0x80000000, 0x40D00000, 0x02000000, 0x40E00000, 0x80000000}, "B0 07 40|D0 01|E0 00 40|"},
      {{0x40C00001, 0x05000102, 0x40C00000, 0x06000000}, "B0 00 01|B0 20 02|C0 05|C0 06|"},
      {{0x00000000, 0x50000000, 1, 2, 3, 0x20903C7F, 0x40903C00}, "90 3C 7F|"}};
  for (const auto& [words, messages] : cases) {
    std::string text;
    host::convertUniversalPackets({reinterpret_cast<const std::uint8_t*>(words.data()), 4 * words.size()},
                                  [&](std::span<const std::uint8_t> message) { text += hex(message) + "|"; });
    EXPECT_EQ(text, messages);
  }
}

TEST(MidiQueue, KeepsEventsOfAnySizeInOrder) {
  backend::MidiQueue queue(1000);
  std::uint64_t pushed = 0, popped = 0;
  const Bytes content(65535, 7);
  for (std::size_t size = 1; size < 500'000; size += 4099) {
    const std::span<const std::uint8_t> bytes(content.data(), size % 65536);
    while (!queue.push({HostTime(pushed), source, bytes, backend::MidiProtocol::packets})) {
      const auto event = queue.front();
      ASSERT_EQ(event->time.count(), static_cast<std::int64_t>(popped++));
      ASSERT_TRUE(std::ranges::all_of(event->bytes, [](int byte) { return byte == 7; }));
      queue.pop();
    }
    ++pushed;
  }
  while (queue.front()) queue.pop(), ++popped;
  EXPECT_EQ(popped, pushed);
  EXPECT_TRUE(queue.isEmpty());
}

/// Everything that is sent to the loop-back arrives at its time, whatever its size; nothing is lost when
/// the queue between both sides is full.
TEST(SimulatedMidi, TheLoopBackReturnsEverythingThatIsSent) {
  const platform::Platform host = platform::makeSimulatedHost("pace=fast");
  platform::MidiService& midi = *host.midi;
  const platform::Clock& clock = host.scheduler->clock();
  MidiObjectRef client{}, output{}, input{};
  std::vector<std::pair<std::uint64_t, std::size_t>> received, sent;
  const auto receive = [&](const PacketList& list, void*) {
    for (const auto packet : platform::PacketRange(list)) {
      EXPECT_LE(packet.timeStamp, static_cast<std::uint64_t>(clock.now().count()));
      received.emplace_back(packet.timeStamp, packet.data.size());
    }
  };
  ASSERT_EQ(midi.createClient("test", nullptr, client), 0);
  ASSERT_EQ(midi.createInputPort(client, "in", receive, input), 0);
  ASSERT_EQ(midi.createOutputPort(client, "out", output), 0);
  ASSERT_EQ(midi.connectSource(input, midi.source(1), nullptr), platform::status::success);
  std::vector<std::uint32_t> memory(1 << 15);
  auto& list = *reinterpret_cast<PacketList*>(memory.data());
  for (std::size_t i = 0; i < 100; ++i) {
    const std::size_t size = i % 3 == 0 ? 65535 : 3 + i;
    // Forty lists of one time are more than the queue holds.
    const std::uint64_t time = start + (i < 40 ? 1000 : 1000 + i);
    const Bytes bytes(size, 0xF0);
    platform::addToPacketList(list, 4 * memory.size(), platform::initPacketList(list), time, bytes);
    ASSERT_EQ(midi.send(output, midi.destination(1), list), 0);
    sent.emplace_back(time, size);
  }
  const std::shared_ptr<platform::Waiter> idle = host.scheduler->makeWaiter();
  const auto end = host.midiReport->onActivityEnd([idle] { idle->signal(); });
  while (host.midiReport->isActive()) ASSERT_TRUE(idle->wait(10s));
  ASSERT_EQ(received.size(), sent.size());
  for (std::size_t i = 0; i < sent.size(); ++i) EXPECT_EQ(received[i], sent[i]) << i;
  EXPECT_EQ(host.midiReport->dropped(), 0U);
}

TEST(HostMidiThreads, AReceiveFunctionMayReleaseTheHost) {
  const TemporaryFolder folder;
  const std::string path = folder.file("notes.mid");
  std::ofstream(path, std::ios::binary) << std::string("MThd\0\0\0\6\0\0\0\1\1\xF4MTrk\0\0\0\x8\0\x90\1\1\1\x90\2\2",
                                                       30);
  for (const std::string pace : {"pace=fast", "pace=real"}) {
    for (const bool isLoop : {false, true}) {
      auto host = std::make_unique<platform::Platform>(platform::makeSimulatedHost(pace + ",midi-in=" + path));
      const std::shared_ptr<platform::Waiter> waiter = host->scheduler->makeWaiter();
      MidiObjectRef client{}, output{}, input{};
      int lists = 0;
      const auto release = [&](const PacketList&, void*) {
        ++lists;
        host.reset();
        waiter->signal();
      };
      ASSERT_EQ(host->midi->createClient("test", nullptr, client), 0);
      ASSERT_EQ(host->midi->createInputPort(client, "in", release, input), 0);
      ASSERT_EQ(host->midi->createOutputPort(client, "out", output), 0);
      ASSERT_EQ(host->midi->connectSource(input, host->midi->source(isLoop ? 1 : 0), nullptr), 0);
      if (isLoop) {
        std::uint32_t memory[8];
        auto& list = *reinterpret_cast<PacketList*>(memory);
        platform::addToPacketList(list, sizeof memory, platform::initPacketList(list), 0, Bytes{0x90});
        host->midi->send(output, host->midi->destination(1), list);
      }
      EXPECT_TRUE(waiter->wait(10s));
      EXPECT_EQ(host, nullptr);
      EXPECT_EQ(lists, 1) << pace << isLoop;
    }
  }
}

/// The transport learns last how the connections ended, however two threads make and end them.
TEST(HostMidiThreads, ConnectionsOfTwoThreadsEndInAgreement) {
  const auto state = std::make_shared<State>();
  const auto context = std::make_shared<host::HostContext>(host::HostContext::Pace::real);
  const platform::Platform services =
      host::makeHost(context, {"scripted", nullptr, std::make_unique<Transport>(state)});
  platform::MidiService& midi = *services.midi;
  MidiObjectRef client{};
  ASSERT_EQ(midi.createClient("test", nullptr, client), 0);
  for (int round = 0; round < 300; ++round) {
    MidiObjectRef kept{}, disposed{};
    ASSERT_EQ(midi.createInputPort(
                  client, "kept", [](const PacketList&, void*) {}, kept),
              0);
    ASSERT_EQ(midi.createInputPort(
                  client, "disposed", [](const PacketList&, void*) {}, disposed),
              0);
    ASSERT_EQ(midi.connectSource(disposed, source, nullptr), 0);
    std::thread other([&] {
      midi.connectSource(kept, source, nullptr);
      midi.connectSource(disposed, source, nullptr);
    });
    EXPECT_EQ(midi.disposePort(disposed), 0);
    other.join();
    ASSERT_TRUE(state->listened.ends_with("+3")) << state->listened;
    EXPECT_EQ(midi.disposePort(kept), 0);
    ASSERT_TRUE(state->listened.ends_with("-3")) << "a disposed port is connected";
    state->listened.clear();
  }
}

/// Endpoints come and go in real time while other threads look them up, send to them and listen to them.
TEST(HostMidiThreads, EndpointsComeAndGoWhileTheyAreUsed) {
  const auto state = std::make_shared<State>();
  const auto context = std::make_shared<host::HostContext>(host::HostContext::Pace::real);
  state->clock = &context->scheduler->clock();
  context->log->setSink([](platform::LogLevel, std::string_view) {});
  const platform::Platform services =
      host::makeHost(context, {"scripted", nullptr, std::make_unique<Transport>(state)});
  platform::MidiService& midi = *services.midi;
  MidiObjectRef client{}, output{}, input{};
  std::atomic<int> heard = 0;
  ASSERT_EQ(midi.createClient(
                "test", [](const auto&) {}, client),
            0);
  ASSERT_EQ(midi.createOutputPort(client, "out", output), 0);
  ASSERT_EQ(midi.createInputPort(
                client, "in", [&](const auto& list, void*) { heard += static_cast<int>(list.numPackets); }, input),
            0);
  std::atomic<bool> isOver = false;
  std::vector<std::thread> threads;
  const auto repeat = [&](auto action) {
    threads.emplace_back([&isOver, action]() mutable {
      while (!isOver) action();
    });
  };
  repeat([&, shows = true]() mutable {
    backend::MidiObject device = state->objects[0];
    device.isPresent = shows = !shows;
    state->callback->changed({{device}, {.kind = shows ? 2 : 3, .child = device.ref}});
  });
  repeat([&] {
    platform::SharedText name;
    for (std::uint32_t i = 0; i < midi.numberOfDestinations(); ++i)
      midi.stringProperty(midi.destination(i), "name", name);
  });
  repeat([&] { midi.send(output, destination, {}); });
  repeat([&] {
    state->callback->received({state->clock->now(), source, Bytes{0x90}});
    state->callback->cycleEnded();
  });
  for (int round = 0; round < 200 || heard == 0; ++round) {
    if (midi.connectSource(input, source, nullptr) == 0) {
      std::this_thread::sleep_for(100us);
      midi.disconnectSource(input, source);
      const int before = heard;
      std::this_thread::yield();
      EXPECT_EQ(heard, before) << "after the connection ended";
    }
  }
  isOver = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(midi.disposeClient(client), 0);
}

}  // namespace
}  // namespace orvane::test
