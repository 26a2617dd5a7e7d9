// SPDX-License-Identifier: MIT
#include "platform/pipewire/Inventory.h"

#include "platform/pipewire/CycleClock.h"
#include "tests/support/Test.h"

namespace orvane::pipewire {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

/// Two sources, a virtual source whose ports are marked as monitors, and two sinks.
Inventory desktop() {
  Inventory inventory;
  inventory.nodes = {{40, {"headset", "Headset", "Audio/Source", 2000, 140}},
                     {41, {"webcam", "Camera", "Audio/Source", 2000, 120}},
                     {42, {"virtual", "Camera", "Audio/Source/Virtual", 0, 130}},
                     {50, {"hdmi", "Screen", "Audio/Sink", 600, 150}},
                     {51, {"speaker", "Speaker", "Audio/Sink", 1000, 151}},
                     {60, {"player", "A player", "Stream/Output/Audio", 9000, 100}}};
  const auto addPorts = [&](std::uint32_t node, bool isOutput, bool isMonitor, std::vector<std::uint32_t> indices) {
    for (const std::uint32_t index : indices) {
      inventory.ports[static_cast<std::uint32_t>(inventory.ports.size()) + 100] = {node, index, isOutput, isMonitor};
    }
  };
  addPorts(40, true, false, {1, 0});
  addPorts(41, true, false, {0});
  addPorts(42, false, false, {0, 1});
  addPorts(42, true, true, {0, 1});
  addPorts(50, false, false, {0, 1, 2, 3, 4, 5, 6, 7});
  addPorts(50, true, true, {0, 1, 2, 3, 4, 5, 6, 7});
  addPorts(51, false, false, {0, 1});
  addPorts(60, true, false, {0, 1});
  return inventory;
}

std::vector<std::string> names(Side side) {
  std::vector<std::string> result;
  for (const Endpoint& endpoint : endpoints(desktop(), side)) result.push_back(endpoint.name);
  return result;
}

TEST(Endpoints, AreListedByAgeWithMonitorsLast) {
  EXPECT_THAT(names(Side::input), ElementsAre("webcam", "virtual", "headset", "hdmi.monitor"));
  EXPECT_THAT(names(Side::output), ElementsAre("hdmi", "speaker"));
  const Endpoint headset = endpoints(desktop(), Side::input)[2];
  EXPECT_EQ(headset.ports.at(0).identifier, 101U) << "in order of port numbers";
  Inventory large = desktop();
  for (std::uint32_t port = 0; port < 70; ++port) large.ports[1000 + port] = {41, port, true, false};
  EXPECT_EQ(choose(large, Side::input, "webcam").endpoint->ports.size(), 64U);
}

TEST(Choose, TakesTheNamedElseTheDefaultElseTheMostImportant) {
  const auto chosen = [](Inventory inventory, Side side, std::optional<std::string> wanted) {
    const Choice choice = choose(inventory, side, wanted);
    return choice.endpoint ? choice.endpoint->name : choice.problem;
  };
  Inventory inventory = desktop();
  EXPECT_EQ(chosen(inventory, Side::input, {}), "webcam") << "of equal priority, the older one";
  EXPECT_EQ(chosen(inventory, Side::output, {}), "speaker");
  EXPECT_EQ(chosen(inventory, Side::input, "Headset"), "headset") << "by description";
  EXPECT_EQ(chosen(inventory, Side::input, "hdmi.monitor"), "hdmi.monitor");
  EXPECT_EQ(chosen(inventory, Side::input, "none"), "");
  EXPECT_EQ(chosen(inventory, Side::output, "webcam"), "no audio output is named \"webcam\"; there is hdmi, speaker");
  EXPECT_THAT(chosen(inventory, Side::input, "Camera"), HasSubstr("several audio inputs have the description"));
  EXPECT_THAT(chosen(inventory, Side::output, "speaker.monitor"), HasSubstr("no audio output is named"));

  inventory.defaults = {{"default.audio.sink", R"({ "name": "hdmi" })"},
                        {"default.audio.source", R"({"name":"gone"})"}};
  EXPECT_EQ(chosen(inventory, Side::output, {}), "hdmi");
  EXPECT_EQ(chosen(inventory, Side::input, {}), "webcam") << "the default is gone";
  inventory.defaults["default.audio.source"] = "{\"name\":";
  EXPECT_EQ(chosen(inventory, Side::input, {}), "webcam");

  inventory.nodes.erase(40);
  inventory.nodes.erase(41);
  inventory.nodes.erase(42);
  EXPECT_EQ(chosen(inventory, Side::input, {}), "") << "a monitor is no default";
  EXPECT_EQ(chosen({}, Side::output, "speaker"), "no audio output is named \"speaker\"; there is none");
}

TEST(CycleClock, CountsWhatIsMissingBetweenCycles) {
  struct Step {
    Cycle cycle;
    std::uint64_t missing;
  };
  const Step steps[] = {
      {{1'000'000'000, 5000, 256, 48000, 1}, 0},        {{1'005'333'333, 5256, 256, 48000, 1}, 0},
      {{1'021'333'333, 6024, 256, 48000, 1}, 512},       // two cycles lost
      {{1'026'666'666, 6280, 1024, 48000, 1}, 0},        // another length
      {{1'048'000'000, 7304, 64, 48000, 1}, 0},          // and back
      {{1'048'000'000, 7304, 64, 48000, 1}, 0},          // a position that does not move
      {{1'049'500'000, 90, 256, 48000, 2}, 0},           // another driver, with positions of its own
      {{2'049'500'000, 90'000, 256, 48000, 3}, 47'744},  // another one, a second later
      {{2'054'833'333, 90'256, 256, 44100, 3}, 0},       // another rate
      {{2'250'000'000, 90'512, 256, 44100, 3}, 0},       // a late wake-up
      {{3'250'000'000, 90'768, 256, 44100, 3}, 43'844},  // a driver that was stopped for a second
  };
  CycleClock clock(-1s);
  for (const Step& step : steps) EXPECT_EQ(clock.advance(step.cycle), step.missing) << step.cycle.position;
  EXPECT_EQ(clock.captureTime({2'000'000'000, 0, 480, 48000, 1}), 990ms);
}

}  // namespace
}  // namespace orvane::pipewire
