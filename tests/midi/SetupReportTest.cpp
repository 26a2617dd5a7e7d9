// SPDX-License-Identifier: MIT
#include "midi/OVMIDIPlayer.h"
#include "midi/OVMIDISetup.h"
#include "platform/EventLoop.h"
#include "tests/support/ScriptedMidi.h"

namespace orvane::test {
namespace {

using Kind = MidiObjectKind;

/// Prints the setup with property dictionaries or without.
std::string printedSetup(bool showProperties) {
  const auto setup = OVMIDISetup::init();
  setup->setShowProperties(showProperties);
  return printed([&] { setup->print(); });
}

struct SetupReport : testing::Test, ScriptedMidi {
  /// Adds a device whose dictionary has one entry, and returns what is printed for that entry.
  std::string printedEntry(Value value) {
    devices.clear();
    at(add(devices, Kind::device, "D")).dictionary = Value::dictionary({{"key", std::move(value)}});
    const std::string text = printedSetup(true);
    const std::string before = "\t{\n\t  key = ", after = "\t}\n### uniqueID is 0\n\nSources:\n";
    const std::size_t begin = text.find(before) + before.size();
    return text.substr(begin, text.find(after) - begin);
  }
};

TEST_F(SetupReport, PrintsTheInventoryLineByLine) {
  EXPECT_EQ(printedSetup(true), "\nDevices:\n\nSources:\n\nDestinations:\n\nExternal devices:\n");

  const MidiObjectRef device = add(devices, Kind::device, "Pi\xC3\xA1no \"X\"\n1");
  std::vector<MidiObjectRef> entities, endpoints;
  const MidiObjectRef entity = add(entities, Kind::entity, nullptr);
  const MidiObjectRef output = add(endpoints, Kind::destination, "Out");
  const MidiObjectRef input = add(endpoints, Kind::source, "In");
  at(device).children = entities;
  at(entity).children = endpoints;
  sources = {input};
  destinations = {output};
  const MidiObjectRef external = add(externalDevices, Kind::externalDevice, "Ext");
  const MidiObjectRef other = add(externalDevices, Kind::other, "Odd");
  at(device).read["uniqueID"] = 0x10;
  at(device).dictionary = Value::dictionary({{"a", 1}, {"entities", 2}, {"source", 3}, {"", ""}, {"b", 3.25}});
  at(entity).read["uniqueID"] = -1;
  at(entity).findStatus = -2;
  at(output).read["uniqueID"] = 0;
  at(output).read["displayName"] = "The output";
  at(input).read["uniqueID"] = 7;
  at(input).found = external;
  at(input).read["connections"] = Value::Data{0, 0, 0, 1, 0xFF, 0, 0, 2, 9};
  at(external).read["uniqueID"] = 8;
  at(external).read["connections"] = Value::Data{1, 2, 3};
  const std::string without =
      "\nDevices:\n"
      "\tdevice \"Pi\xC3\xA1no \"X\"\n1\", id 0x00000010, ref 0x00000001\n"
      "\t\tentity \"\", id 0xFFFFFFFF, ref 0x00000002\n### MidiService::findObject returned -2\n"
      "\t\t\tsource \"In\", id 0x00000007, ref 0x00000004\n\t\t\t\tconnections: 0x00000001 0xFF000002\n"
      "### got a different object back from MidiService::findObject: 00000005\n"
      "\t\t\tdestination \"Out\", id 0x00000000, ref 0x00000003\n### uniqueID is 0\n"
      "\nSources:\n"
      "\tsource \"In\", id 0x00000007, ref 0x00000004\n\t\tconnections: 0x00000001 0xFF000002\n"
      "### got a different object back from MidiService::findObject: 00000005\n"
      "\nDestinations:\n"
      "\tdestination \"Out\", id 0x00000000, ref 0x00000003\n### uniqueID is 0\n\t\tDisplay name: The output\n"
      "\nExternal devices:\n"
      "\texternal device \"Ext\", id 0x00000008, ref 0x00000005\n"
      "\tunknown \"Odd\", id 0x00000000, ref 0x00000006\n### uniqueID is 0\n";
  EXPECT_EQ(printedSetup(false), without);
  std::string with = without;
  const std::string line = "ref 0x00000001\n";
  with.insert(with.find(line) + line.size(), "\t{\n\t  a = 1\n\t  \"\" = \"\"\n\t  b = 3.250000\n\t}\n");
  EXPECT_EQ(printedSetup(true), with);
  EXPECT_EQ(number(other), "6");
}

TEST_F(SetupReport, PrintsValuesByKind) {
  const std::pair<Value, std::string> cases[] = {
      {-100, "-100\n"},
      {99, "99\n"},
      {-101, "0xFFFFFF9B\n"},
      {100, "0x00000064\n"},
      {INT64_C(0x1FFFFFFFF), "-1\n"},
      {UINT64_MAX, "-1\n"},
      {-0.5, "-0.500000\n"},
      {1e300, ""},
      {Value::Array{}, "[ ]\n"},
      {Value::Array{"x", 5}, "\t    [0] = x\n\t    [1] = 5\n"},
      {Value::dictionary({{"in", Value::Array(1, Value::Array{1})}, {"sources", 1}}),
       "{\n\t    in = \t      [0] = \t        [0] = 1\n\t  }\n"},
      {Value::dictionary(), "{\n\t  }\n"},
      {std::string(600, 'x'), std::string(511, 'x') + "\n"},
      {"\xC3\xA4" + std::string(510, 'x'), "\xC3\xA4" + std::string(509, 'x') + "\n"},
      {std::string(510, 'x') + "\xC3\xA4", std::string(510, 'x') + "\n"},
      {std::string("a\0b", 3), "a\n"}};
  for (const auto& [value, text] : cases) {
    char expected[400];
    std::snprintf(expected, sizeof expected, "%f\n", 1e300);
    EXPECT_EQ(printedEntry(value), text.empty() ? expected : text) << value.description();
  }
  // Other kinds are described on standard error.
  for (const auto& [value, description] : {std::pair<Value, std::string>{true, "true"}, {Value(), "(null)"}}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(printedEntry(value), "### unknown Value: \n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), description);
  }
  // Nesting does not exhaust the stack.
  Value nested = 1;
  for (int level = 0; level < 100'000; ++level) {
    Value::Array array(1);
    array[0] = std::move(nested);
    nested = std::move(array);
  }
  testing::internal::CaptureStderr();
  EXPECT_THAT(printedEntry(nested), HasSubstr("### unknown Value: \n"));
  testing::internal::GetCapturedStderr();
}

TEST_F(SetupReport, DumpsDataInRows) {
  Value::Data data(20);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(0x1C + 4 * i);
  data[19] = 0x7E;
  EXPECT_THAT(printedEntry(data),
              MatchesRegex("\n[0-9A-F]{8,}:  1C 20 24 28 2C 30 34 38 3C 40 44 48 4C 50 54 58 \\. \\$\\(,048<@DHLPTX\n"
                           "[0-9A-F]{8,}:  5C 60 64 7E {37}.`d~ {12}\n"));
  for (const std::size_t size : {0U, 1024U, 3000U}) {
    const std::string text = printedEntry(Value::Data(size));
    EXPECT_EQ(std::ranges::count(text, '\n'), 1 + (size == 0 ? 0 : 64));
  }
}

TEST_F(SetupReport, CutsNamesAtCharacters) {
  const MidiObjectRef device = add(devices, Kind::device, "");
  for (const auto& [name, shownName] : {std::pair{std::string(63, 'n'), std::string(63, 'n')},
                                        {std::string(64, 'n'), std::string(63, 'n')},
                                        {std::string(61, 'n') + "\xE2\x82\xAC", std::string(61, 'n')}}) {
    at(device).read["name"] = name;
    EXPECT_THAT(printedSetup(false), HasSubstr("unknown \"" + shownName + "\","));
  }
}

/// A loop that calls a function instead of waiting.
struct ScriptedLoop : platform::EventLoop {
  void watchSignals() override {}
  int run() override { return onRun(), 0; }
  platform::Subscription onSignal(std::function<void(int)>) override { return {}; }
  void post(std::function<void()>) override {}
  void stop() override {}
  std::function<void()> onRun;
};

TEST_F(SetupReport, WatchPrintsNotifications) {
  const MidiObjectRef device = add(devices, Kind::device, "D");
  at(device).read = {{"name", "D"}, {"uniqueID", 1}, {"driverVersion", 9}, {"offline", 1}};
  at(device).dictionary = Value::dictionary({{"k", 2}});
  const std::string line = "device \"D\", id 0x00000001, ref 0x00000001\n",
                    dictionary = "object{\nobject  k = 2\nobject}\n";
  const std::string inventory = "\nDevices:\n\t" + line + "\nSources:\n\nDestinations:\n\nExternal devices:\n";
  std::string withProperties = inventory;
  withProperties.insert(inventory.find(line) + line.size(), "\t{\n\t  k = 2\n\t}\n");
  using N = platform::MidiNotification;
  const std::pair<N, std::string> cases[] = {
      {{.kind = 1}, "MidiNotification::setupChanged\n" + inventory},
      {{.kind = 2, .child = device, .childKind = Kind::device},
       "MidiNotification::objectAdded:\n         (added object's driver version is 9)\nparent<NULL>\nchild " + line},
      {{.kind = 3, .parent = device, .parentKind = Kind::device, .child = device, .childKind = Kind::device},
       "MidiNotification::objectRemoved:\nparent" + line + "child " + line},
      {{.kind = 4, .object = device, .objectKind = Kind::device, .propertyName = "offline"},
       "MidiNotification::propertyChanged:\nobject" + line + "  property \"offline\"\n    value: 1\n\n"},
      {{.kind = 4,
        .object = device,
        .objectKind = Kind::source,
        .propertyName = "n\xC3\xA4\xE2\x82\xAC\xFF" + std::string(90, 'x')},
       "MidiNotification::propertyChanged:\nobject" + line + dictionary + "  property \"n\xE4??" +
           std::string(75, 'x') + "\"\n\n"},
      {{.kind = 7}, "unknown message 7\n"}};
  const auto loop = std::make_shared<ScriptedLoop>();
  platform::Platform services = platform::current();
  services.eventLoop = loop;
  platform::use(services);
  std::string expected = withProperties + "\nWatching for notifications...\n";
  for (const auto& [notification, text] : cases) expected += text;
  loop->onRun = [&] {
    for (const auto& [notification, text] : cases) notify(notification);
  };
  const auto setup = OVMIDISetup::init();
  EXPECT_EQ(printed([&] { setup->watchProperties(); }), expected);
  EXPECT_EQ(takeCalls(), "createClient midinotif notified");
  EXPECT_FALSE(setup->showProperties());
  // A refused client is silent.
  statuses["createClient"] = -1;
  loop->onRun = [] {};
  EXPECT_EQ(printed([&] { setup->watchProperties(); }), withProperties + "\nWatching for notifications...\n");
  EXPECT_THAT(logged, IsEmpty());
}

TEST_F(SetupReport, PlayerMakesAndDisposesItsObjectsInOrder) {
  add(destinations, Kind::destination, "Synth");
  const std::string created = "newSequence > loadFile a.mid > newPlayer > setSequence",
                    disposed = "disposePlayer 202 > disposeSequence 201";
  {
    const auto player = OVMIDIPlayer::initWithFilePath("a.mid");
    player->stop();
    EXPECT_EQ(takeCalls(), created + " > stop");
    EXPECT_EQ(reasonOf([&] { player->start(); }), "No MIDI destination named '(null)'");
    player->setDestinationMIDIEndpointName("Synth");
    player->start();
    EXPECT_EQ(takeCalls(), "setDestination 1 > start");
    statuses = {{"setDestination", -3}, {"stop", -4}};
    EXPECT_EQ(reasonOf([&] { player->start(); }), "SequencePlayer::setDestination failed: -3");
    player->stop();
    statuses = {{"start", -3}};
    EXPECT_EQ(reasonOf([&] { player->start(); }), "SequencePlayer::start failed: -3");
    takeCalls();
  }
  EXPECT_EQ(takeCalls(), disposed);
  const std::pair<std::string, std::string> failures[] = {{"newSequence", ""},
                                                          {"loadFile", "disposeSequence 201"},
                                                          {"newPlayer", "disposeSequence 201"},
                                                          {"setSequence", disposed}};
  for (const auto& [call, cleanUp] : failures) {
    statuses = {{call, -6}};
    EXPECT_EQ(reasonOf([] { OVMIDIPlayer::initWithFilePath("a.mid"); }), "SequencePlayer::" + call + " failed: -6");
    EXPECT_THAT(takeCalls(), EndsWith(cleanUp.empty() ? "newSequence" : " > " + cleanUp));
  }
  platform::Platform services = platform::current();
  services.sequences = nullptr;
  services.midi = nullptr;
  platform::use(services);
  EXPECT_EQ(reasonOf([] { OVMIDIPlayer::initWithFilePath("a.mid"); }), "SequencePlayer is not available on this host");
  EXPECT_EQ(reasonOf([] { OVMIDISetup::init()->print(); }), "MidiService is not available on this host");
}

}  // namespace
}  // namespace orvane::test
