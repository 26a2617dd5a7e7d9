// SPDX-License-Identifier: MIT

// The parts of the server's MIDI that work without a server.

#include "platform/host/midi/ExclusiveJoiner.h"
#include "platform/pipewire/MidiCatalogue.h"
#include "platform/pipewire/MidiCycle.h"
#include "tests/support/Test.h"

namespace orvane::pipewire {
namespace {

using namespace std::chrono_literals;
using backend::MidiChange;
using platform::MidiNotification;
using platform::MidiObjectKind;
using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

/// Splits bytes as a cycle does. Returns the sizes of the pieces.
std::vector<std::size_t> pieces(const Bytes& bytes) {
  std::vector<std::size_t> sizes;
  std::span<const std::uint8_t> left(bytes);
  for (; !left.empty(); left = left.subspan(sizes.back())) sizes.push_back(firstPiece(left));
  return sizes;
}

TEST(FirstPiece, IsAMessageOrAPieceOfOne) {
  EXPECT_THAT(pieces({0x90, 60, 1, 0xC0, 2, 0xD0, 3, 0xE0, 4, 5, 0xB0, 6, 7}), ElementsAre(3, 2, 2, 3, 3));
  EXPECT_THAT(pieces({0xF1, 1, 0xF2, 1, 2, 0xF3, 3, 0xF4, 0xF6, 0xF7, 0xF8, 0xFF}),
              ElementsAre(2, 3, 2, 1, 1, 1, 1, 1));
  EXPECT_THAT(pieces({0x90, 60, 1, 61, 1, 0xF8, 0x90, 0x80, 1}), ElementsAre(3, 2, 1, 1, 2))
      << "running status, cut off";
  EXPECT_THAT(pieces({0xF0, 1, 0xF8, 2, 0xF7, 0xF0, 0x90, 1, 2}), ElementsAre(2, 1, 2, 1, 3)) << "interrupted";
  for (const std::size_t size : {1022U, 1023U, 1024U, 2048U, 3000U}) {
    Bytes message(size, 1);
    message.front() = 0xF0;
    message.back() = 0xF7;
    const auto sizes = pieces(message);
    EXPECT_EQ(sizes.size(), (size + 1023) / 1024) << size;
    EXPECT_LE(std::ranges::max(sizes), 1024U);
    host::ExclusiveJoiner joiner;
    std::vector<Bytes> joined;
    std::span<const std::uint8_t> left(message);
    for (const std::size_t piece : sizes) {
      joiner.take(1, left.first(piece), [&](auto whole) { joined.emplace_back(whole.begin(), whole.end()); });
      left = left.subspan(piece);
    }
    EXPECT_THAT(joined, ElementsAre(message));
  }
}

TEST(ExclusiveJoiner, KeepsSourcesApartAndLetsOtherMessagesPass) {
  host::ExclusiveJoiner joiner;
  std::vector<Bytes> passed;
  const auto take = [&](std::uint32_t source, const Bytes& bytes) {
    joiner.take(source, bytes, [&](auto whole) { passed.emplace_back(whole.begin(), whole.end()); });
  };
  take(1, {0xF0, 1});
  take(2, {0xF0, 9});
  take(1, {0xF8});
  take(1, {2});
  take(1, {0xF7});
  take(2, {0x90, 1, 2});  // interrupts the message
  take(2, {3});           // without a message
  take(3, {0xF0, 1});
  take(3, {0xF0, 2, 0xF7});
  EXPECT_THAT(passed, ElementsAre(Bytes{0xF8}, Bytes{0xF0, 1, 2, 0xF7}, Bytes{0xF0, 9}, Bytes{0x90, 1, 2}, Bytes{3},
                                  Bytes{0xF0, 1}, Bytes{0xF0, 2, 0xF7}));
  passed.clear();
  take(1, {0xF0, 1, 0xF7, 0xF0, 2});  // An end inside an event.
  take(1, {3, 0xF7, 0x90, 1, 2});
  EXPECT_THAT(passed, ElementsAre(Bytes{0xF0, 1, 0xF7}, Bytes{0xF0, 2, 3, 0xF7}, Bytes{0x90, 1, 2}));
  passed.clear();
  take(1, {0xF0});
  for (int i = 0; i < 66; ++i) take(1, Bytes(1000, 7));
  take(1, {0xF7});
  ASSERT_EQ(passed.size(), 2U) << "longer than a packet";
  EXPECT_EQ(passed[0].size() + passed[1].size(), 66'002U);
  EXPECT_LE(passed[0].size(), 65'535U);
}

TEST(MidiCycle, MapsFramesToTheHostClockAndBack) {
  const MidiCycle cycle({.nanoseconds = 5'000'000'000, .frames = 256, .rate = 48000}, -4s);
  EXPECT_EQ(cycle.timeOf(0), 1s);
  EXPECT_EQ(cycle.timeOf(48), 1001ms);
  EXPECT_EQ(cycle.timeOf(1000), cycle.end());
  for (std::uint32_t frame = 0; frame < 256; ++frame) EXPECT_EQ(cycle.frameOf(cycle.timeOf(frame)), frame);
  EXPECT_EQ(cycle.frameOf(0s), 0U) << "late";
  EXPECT_EQ(cycle.frameOf(1001ms + 1ns), 49U) << "never early";
  EXPECT_TRUE(cycle.isDue(0s) && cycle.isDue(cycle.timeOf(255)));
  EXPECT_FALSE(cycle.isDue(cycle.timeOf(255) + 1ns)) << "the next frame is in the next cycle";
}

/// A node with an output port and an input port, as another process has them.
void addNode(Inventory& inventory, std::uint32_t identifier, const std::string& name, std::uint32_t client = 2) {
  inventory.ownClient = 1;
  inventory.nodes[identifier] = {.name = name, .serial = identifier, .client = client, .properties = {{"a", "1"}}};
  for (const bool isOutput : {false, true}) {
    Inventory::Port port{.node = identifier, .isOutput = isOutput, .name = isOutput ? "out" : "in", .isMidi = true};
    port.properties = {{"port.alias", name + " port"}};
    inventory.ports[identifier + (isOutput ? 2 : 1)] = port;
  }
}

/// Shows changes as text: "+" for added, "-" for removed, "=" for a property, "." for none of them.
std::string shown(const std::vector<MidiChange>& changes) {
  std::string text;
  for (const MidiChange& change : changes) {
    const std::string name = *change.objects.at(0).name;
    const MidiNotification& told = change.notification;
    EXPECT_EQ(told.kind == MidiNotification::propertyChanged ? told.object : told.child,
              told.kind == 0 ? platform::MidiObjectRef::none : change.objects[0].ref);
    constexpr std::string_view marks = ".?+-=";
    text += marks[static_cast<std::size_t>(told.kind)] + name +
            (told.propertyName.empty() ? "" : "/" + told.propertyName) + " ";
  }
  return text;
}

TEST(MidiCatalogue, ShowsTheOldestOfEqualNamesAndNotItsOwn) {
  Inventory inventory;
  MidiCatalogue catalogue;
  EXPECT_EQ(shown(catalogue.update(inventory)), "");
  addNode(inventory, 10, "own", 1);
  addNode(inventory, 20, "piano");
  addNode(inventory, 30, "piano");
  inventory.ports[22].isMidi = false;
  const auto added = catalogue.update(inventory);
  EXPECT_EQ(shown(added), "+piano +piano +piano:in +piano:out ");
  const auto destination = added.at(2).objects[0];
  const auto source = added.at(3).objects[0];
  EXPECT_EQ(destination.kind, MidiObjectKind::destination);
  EXPECT_EQ(destination.displayName, "piano port");
  EXPECT_EQ(destination.parent, added.at(1).objects[0].ref);
  EXPECT_EQ(destination.uniqueIdentifier, uniqueIdentifier(MidiObjectKind::destination, "piano:in"));
  EXPECT_EQ(catalogue.portOf(destination.ref), 21U);
  EXPECT_EQ(catalogue.portOf(source.ref), 32U) << "the older node has no such port";
  EXPECT_EQ(shown(catalogue.update(inventory)), "");

  inventory.ports[21].properties["port.alias"] = "grand";
  EXPECT_EQ(shown(catalogue.update(inventory)), "=piano:in/displayName =piano:in/port.alias ");
  inventory.nodes.erase(20);
  catalogue.update(inventory);
  EXPECT_EQ(catalogue.portOf(destination.ref), 31U) << "the younger node takes its place";
  inventory.nodes.erase(30);
  EXPECT_EQ(shown(catalogue.update(inventory)), "-piano:out -piano:in -piano -piano ");
  EXPECT_FALSE(catalogue.portOf(destination.ref));
  addNode(inventory, 40, "piano");
  EXPECT_EQ(catalogue.update(inventory).at(2).objects[0].ref, destination.ref) << "the same object again";
}

TEST(MidiCatalogue, GivesStableUniqueIdentifiers) {
  // Programs store them, so they must not change: FNV-1a of the kind and the name.
  EXPECT_EQ(uniqueIdentifier(MidiObjectKind::source, "OVMIDISend:Output port"), static_cast<std::int32_t>(0xCCDB393D));
  EXPECT_NE(uniqueIdentifier(MidiObjectKind::source, "a"), uniqueIdentifier(MidiObjectKind::destination, "a"));
}

}  // namespace
}  // namespace orvane::pipewire
