// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/MIDI/MIDIPacketEmitter.h"
#include "midi/OVMIDIMonitor.h"
#include "midi/OVMIDISend.h"
#include "tests/support/ScriptedMidi.h"

namespace orvane::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// A packet list in a block of exactly the size that it needs, so that the address sanitizer sees reads behind it.
class Block {
 public:
  explicit Block(const std::vector<std::pair<std::uint64_t, Bytes>>& packets) : mMemory(1 << 17) {
    std::uint8_t* current = platform::initPacketList(list());
    for (const auto& [time, bytes] : packets)
      current = platform::addToPacketList(list(), mMemory.size(), current, time, bytes);
    mMemory.resize(platform::packetListSize(list(), mMemory.size()).value());
    mMemory.shrink_to_fit();
  }
  PacketList& list() { return *reinterpret_cast<PacketList*>(mMemory.data()); }
  std::size_t size() const { return mMemory.size(); }

 private:
  std::vector<std::uint8_t> mMemory;
};

TEST(PacketListTest, AppendsToTheCurrentPacketOnlyWhereTheRuleAllows) {
  const std::tuple<std::vector<std::pair<std::uint64_t, Bytes>>, std::string, std::size_t> cases[] = {
      {{{5, {0x90, 1}}, {5, {0x80, 2}}}, "5: 90 01 80 02", 18},
      {{{5, {0x90, 1}}, {6, {0x80, 2}}}, "5: 90 01; 6: 80 02", 28},
      {{{5, {0xF0, 1}}, {5, {2, 0xF7}}, {5, {0x90}}}, "5: F0 01; 5: 02 F7; 5: 90", 39},
      {{{5, {0x90}}, {5, {0xF0, 0xF7}}}, "5: 90; 5: F0 F7", 28},
      {{{5, {}}, {5, {0x90}}, {0, {}}}, "5: 90; 0:", 26}};
  for (const auto& [packets, text, size] : cases) {
    Block block(packets);
    EXPECT_EQ(shown(block.list()), text);
    EXPECT_EQ(block.size(), size) << text;
    EXPECT_EQ(platform::packetListSize(block.list(), size - 1), std::nullopt) << text;
  }
  // An event that does not fit leaves the list as it was.
  Block block({{5, {0x90, 1}}});
  std::uint8_t* const first = reinterpret_cast<std::uint8_t*>(&block.list()) + 4;
  for (const std::uint64_t time : {5U, 6U})
    EXPECT_EQ(platform::addToPacketList(block.list(), block.size(), first, time, Bytes{7}), nullptr);
  EXPECT_EQ(platform::addToPacketList(block.list(), 1 << 17, first, 6, Bytes(65536)), nullptr);
  EXPECT_EQ(shown(block.list()), "5: 90 01");
}

TEST(HexDumpTest, PrintsPacketsAsDocumented) {
  const std::tuple<std::vector<std::pair<std::uint64_t, Bytes>>, std::string, std::string> cases[] = {
      {{}, "", ""},
      {{{1000, {0x90, 0x3C, 0x7F}}}, "[1000]: 90 3C 7F\n", "[1000]: 90 3C 7F\n"},
      {{{5, {0x90, 0x3C}}, {6, {0x80}}}, "[5]: 90 3C [6]: 80\n", "[5]: 90 3C [6]: 80\n"},
      {{{7, {0xF8, 0x90, 0xFF, 0xF7}}}, "[7]: F8 90 FF F7\n", "[7]: 90 F7\n"},
      {{{8, {0xF8}}}, "[8]: F8\n", "[8]:"},
      {{{8, {}}}, "[8]:", "[8]:"},
      {{{INT64_MAX, {1}}, {UINT64_C(1) << 63, {2}}},
       "[9223372036854775807]: 01 [-9223372036854775808]: 02\n",
       "[9223372036854775807]: 01 [-9223372036854775808]: 02\n"},
      {{{UINT64_C(1) << 63, {1}}, {UINT64_MAX, {2}}, {1'000'000'000, {3}}, {1'099'999'999, {4}}, {1'100'000'007, {5}}},
       "[-9223372036854775808]: 01 [-1]: 02 [1000000000]: 03 [1099999999]: 04 [1100000007]: 05\n",
       "[-9223372036854775808]: 01 [-1]: 02 [1000000000]: 03 [1099999999]: 04 [1100000007]: 05\n"}};
  for (const auto& [packets, all, withoutRealtime] : cases) {
    Block block(packets);
    EXPECT_EQ(printed([&] { OVMIDIBase::hexDumpPacketList(block.list(), true); }), all);
    EXPECT_EQ(printed([&] { OVMIDIBase::hexDumpPacketList(block.list(), false); }), withoutRealtime);
  }
  // Every magnitude of time stamp, next to its neighbours, against the C library.
  for (std::uint64_t power = 1; power < UINT64_C(1) << 62; power *= 10) {
    for (const std::uint64_t time : {power - 1, power, power + 1, 9 * power - 1, 9 * power}) {
      Block block({{time, {}}, {time + 1, {}}});
      EXPECT_EQ(printed([&] { OVMIDIBase::hexDumpPacketList(block.list(), true); }),
                "[" + std::to_string(static_cast<std::int64_t>(time)) + "]: [" +
                    std::to_string(static_cast<std::int64_t>(time + 1)) + "]:");
    }
  }
}

/// Collects what an emitter emits, as "PACKETS of SIZE bytes".
struct Emissions {
  void operator()(const PacketList& list) {
    text +=
        std::to_string(list.numPackets) + " of " + std::to_string(platform::packetListSize(list, 70000).value()) + "; ";
  }
  std::string& text;
};

TEST(MIDIPacketEmitterTest, EmitsListsInTheOrderOfTheEvents) {
  const std::tuple<std::vector<int>, std::string, std::string> cases[] = {
      {{}, "", ""},
      {{3, 3, 3}, "", "3 of 49; "},
      {std::vector(64, 3), "63 of 1009; ", "1 of 17; "},  // the next packet would end at 4 + 63 * 16 + 13 = 1025
      {{1010}, "", "1 of 1024; "},
      {{1011}, "1 of 1025; ", ""},
      {{3, 3, 1500, 3}, "2 of 33; 1 of 1514; ", "1 of 17; "},
      {{3, 1010}, "1 of 17; ", "1 of 1024; "},
      {{65535}, "1 of 65549; ", ""}};
  for (const auto& [lengths, whileAdding, atEnd] : cases) {
    std::string text;
    MIDIPacketEmitter emitter{Emissions{text}};
    const Bytes bytes(65535, 0x11);
    std::uint64_t time = 9;
    for (const int length : lengths) emitter.Add(time++, length, bytes.data());
    EXPECT_EQ(std::exchange(text, {}), whileAdding);
    emitter.End();
    EXPECT_EQ(std::exchange(text, {}), atEnd);
    emitter.End();
    EXPECT_EQ(text, "");
  }
  MIDIPacketEmitter empty(nullptr);
  empty.End();
  const PacketList none;
  EXPECT_THROW(empty.Emit(&none), std::bad_function_call);
  for (const auto& [path, name] : {std::pair{"a/b/c", "c"}, {"abc", "abc"}, {"a/", ""}})
    EXPECT_STREQ(LogFilenameOnly(path), name);
  EXPECT_EQ(LogFilenameOnly(nullptr), nullptr);
}

/// The scripted service with two destinations and two sources of equal names.
struct MidiTools : testing::Test, ScriptedMidi {
  MidiTools() {
    for (const char* name : {"Out", static_cast<const char*>(nullptr), "Synth", "Synth"}) {
      add(destinations, MidiObjectKind::destination, name);
      add(sources, MidiObjectKind::source, name);
    }
  }
  const std::string created = "createClient OVMIDISend > createOutputPort 101 Output port";
};

TEST_F(MidiTools, EndpointsAreFoundByExactName) {
  EXPECT_EQ(number(OVMIDIBase::sourceWithName("Synth")) + number(OVMIDIBase::destinationWithName("Synth")), "65");
  EXPECT_EQ(number(OVMIDIBase::defaultSource()) + number(OVMIDIBase::defaultDestination()), "21");
  for (const char* name : {"synth", "Synth ", "Syn", ""})
    EXPECT_EQ(reasonOf([&] { OVMIDIBase::sourceWithName(name); }), "No MIDI source named '" + std::string(name) + "'");
  EXPECT_EQ(reasonOf([] { OVMIDIBase::destinationWithName({}); }), "No MIDI destination named '(null)'");
  sources.clear();
  destinations.clear();
  EXPECT_EQ(reasonOf([] { OVMIDIBase::destinationWithName("Out"); }), "No MIDI destination named 'Out'");
  EXPECT_EQ(reasonOf([] { OVMIDIBase::defaultSource(); }), "No MIDI sources present");
  EXPECT_EQ(reasonOf([] { OVMIDIBase::defaultDestination(); }), "No MIDI destinations present");
  EXPECT_EQ(logged.back(), "Failure: No MIDI destinations present");
  const auto base = OVMIDIBase::init();
  EXPECT_EQ(base->protocol(), 0);
  base->set1UP();
  EXPECT_EQ(base->protocol(), 1);
  base->setProtocol(7);
  EXPECT_EQ(base->protocol(), 7);
}

TEST_F(MidiTools, SendsTheGroupsOfAText) {
  const std::string longGroup = [] {
    std::string text;
    for (int i = 0; i < 1011; ++i) text += " 11";
    return text;
  }();
  const std::pair<std::string, std::string> cases[] = {
      {"90 3C 7F", "1000: 90 3C 7F\n"},
      {"90 3C 7F | 80 3c 00", "1000: 90 3C 7F; 1001: 80 3C 00\n"},
      {"F8", "1000: F8\n"},
      {"9", "1000: 09\n"},
      {"9|", "1000: 09\n"},
      {"9 0", "1000: 90\n"},
      {"123", "1000: 12 03\n"},
      {"1 2 3|\t4\n5\v6\f7\r8", "1000: 12 03; 1001: 45 67 08\n"},
      {"||aBcD ||eF", "1002: AB CD; 1004: EF\n"},
      {"", ""},
      {" \t ", ""},
      {" | ", ""},
      {"01|" + longGroup + "|02", "1000: 01\n1001:" + longGroup + "\n1002: 02\n"}};
  const auto tool = OVMIDISend::init();
  for (const auto& [text, lists] : cases) {
    const std::string dump = printed([&, text = text] { tool->transmit(text); });
    EXPECT_EQ(sent, lists) << text;
    std::string expected = sent;
    for (const std::string from : {"1000", "1001", "1002", "1004"})
      for (std::size_t at = 0; (at = expected.find(from + ":", at)) != std::string::npos; at += 7)
        expected.replace(at, 5, "[" + from + "]:");
    std::erase(expected, ';');
    EXPECT_EQ(dump, expected);
    sent.clear();
  }
}

TEST_F(MidiTools, SendingFailsInTheDocumentedOrder) {
  {
    const auto tool = OVMIDISend::init();
    EXPECT_EQ(takeCalls(), created);
    EXPECT_EQ(reasonOf([&] { tool->transmit(std::nullopt); }), "string is null in -[OVMIDISend send:]");
    tool->set20();
    EXPECT_EQ(reasonOf([&] { tool->send(""); }), "Not yet supporting protocols beyond MIDI 1.0");
    tool->set10();
    tool->setDestinationEndpointName("none");
    EXPECT_EQ(reasonOf([&] { tool->send("x"); }), "No MIDI destination named 'none'");
    tool->setDestinationEndpointName("Synth");
    // A parse error still chooses the destination, which later names do not change.
    for (const char* text : {"0x90", "90 3G 7F", "90 \xE4", "4 -"})
      EXPECT_EQ(reasonOf([&] { tool->send(text); }), "Hex parse error in: " + std::string(text));
    tool->setDestinationEndpointName("Out");
    EXPECT_EQ(printed([&] { tool->send("90"); }), "[1000]: 90\n");
    EXPECT_EQ(takeCalls(), "send 102 5");
    statuses["send"] = -77;
    EXPECT_EQ(printed([&] { EXPECT_EQ(reasonOf([&] { tool->send("91|92"); }), "MidiService::send failed: -77"); }),
              "[1000]: 91 [1001]: 92\n");
    statuses.clear();
  }
  EXPECT_EQ(takeCalls(), "send 102 5 > disposePort 102 > disposeClient 101");
  for (const std::string call : {"createClient", "createOutputPort"}) {
    statuses = {{call, -5}};
    EXPECT_EQ(reasonOf([] { OVMIDISend::init(); }), "MidiService::" + call + " failed: -5");
  }
  EXPECT_THAT(takeCalls(), EndsWith("> disposeClient 101"));
}

TEST_F(MidiTools, AFailureInTheMiddleKeepsWhatWasSentAndIsNotReplaced) {
  const auto tool = OVMIDISend::init();
  std::string text;
  for (int group = 0; group < 64; ++group) text += "90 3C 7F |";
  logged.clear();
  const std::string dump = printed([&] { reasonOf([&] { tool->send((text + "x").c_str()); }); });
  EXPECT_THAT(dump, AllOf(StartsWith("[1000]: 90 3C 7F [1001]:"), EndsWith(" [1062]: 90 3C 7F\n")));
  EXPECT_EQ(std::ranges::count(sent, ';'), 62) << "the list that was full";
  EXPECT_THAT(logged, ElementsAre("Failure: Hex parse error in: " + text + "x",
                                  MatchesRegex(R"(MIDIPacketEmitter:[0-9]+:~MIDIPacketEmitter: ASSERTION FAILURE )"
                                               R"(\[\(TheList\(\)->numPackets == 0\) != 0 is false\]: )")));
  sent.clear();
  const std::string tooLong(2 * 65536, '1');
  printed([&] {
    EXPECT_EQ(reasonOf([&] { tool->send((text + tooLong).c_str()); }),
              "A MIDI packet of 65536 bytes is too long; a packet has at most 65535 bytes");
  });
  EXPECT_EQ(std::ranges::count(sent, '\n'), 1);
}

TEST_F(MidiTools, MonitorPrintsListsOfConnectedSources) {
  {
    const auto monitor = OVMIDIMonitor::init();
    EXPECT_EQ(takeCalls(), "createClient OVMIDIMonitor > createInputPort 101 Input port");
    EXPECT_TRUE(monitor->includeRealtime());
    monitor->setSourceEndpointName("none");
    EXPECT_EQ(reasonOf([&] { monitor->start(); }), "No MIDI source named 'none'");
    monitor->stop();
    monitor->setSourceEndpointName(std::nullopt);
    monitor->start();
    monitor->setSourceEndpointName("Synth");
    monitor->start();
    monitor->stop();
    EXPECT_EQ(takeCalls(),
              "disconnectSource 103 0 > connectSource 103 2 > connectSource 103 6 > disconnectSource 103 6");
    for (const std::string call : {"connectSource", "disconnectSource"}) {
      statuses = {{call, -9}};
      EXPECT_EQ(reasonOf([&] { call == "connectSource" ? monitor->start() : monitor->stop(); }),
                "MidiService::" + call + " failed: -9");
    }
    Block block({{4, {0xF8, 0x90}}});
    EXPECT_EQ(printed([&] { receive(block.list(), nullptr); }), "[4]: F8 90\n");
    monitor->setIncludeRealtime(false);
    EXPECT_EQ(printed([&] { receive(block.list(), nullptr); }), "[4]: 90\n");
    takeCalls();
    statuses = {{"disposePort", -7}, {"disposeClient", -8}};
  }
  EXPECT_EQ(takeCalls(), "disposePort 103 > disposeClient 101") << "refusals end neither step";
  for (const std::string call : {"createClient", "createInputPort"}) {
    statuses = {{call, -5}};
    EXPECT_EQ(reasonOf([] { OVMIDIMonitor::init(); }), "MidiService::" + call + " failed: -5");
  }
  EXPECT_THAT(takeCalls(), EndsWith("> disposeClient 101"));
}

}  // namespace
}  // namespace orvane::test
