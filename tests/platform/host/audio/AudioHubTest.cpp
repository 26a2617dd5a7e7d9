#include <atomic>
#include <thread>

#include "tests/support/UnitRig.h"

namespace orvane::test {
namespace {

using namespace std::chrono_literals;

/// A unit that plays one constant, and must not be called before a start or after a stop.
struct Player {
  Player(UnitRig& rig, float value) : units(*rig.host.units), unit(rig.makeUnit()) {
    units.wrap(unit)->setOutputProvider([this, value](auto&, auto&, std::uint32_t frames, int, auto& list) {
      EXPECT_TRUE(runs);
      std::fill_n(static_cast<float*>(list.buffers()[0].data), frames, value);
      ++slices;
      return platform::status::success;
    });
  }
  ~Player() {
    stop();
    units.dispose(unit);
  }
  platform::Status start() {
    runs = true;
    return units.start(unit);
  }
  void stop() {
    units.stop(unit);
    runs = false;
  }

  platform::UnitService& units;
  const platform::UnitInstance unit;
  std::atomic<bool> runs = false;
  std::atomic<int> slices = 0;
};

TEST(AudioHub, MixesInOrderOfStartingAndIsSilentWhereNobodyPlays) {
  const TemporaryFolder folder;
  UnitRig rig("pace=fast,rate=1000,outputs=1,slice=1,speaker=" + folder.file("heard.wav"));
  // Not associative in single precision: five is what it is only where the others have cancelled out before.
  Player large(rig, 1e8F);
  Player opposite(rig, -1e8F);
  Player small(rig, 5);
  for (Player* player : {&large, &opposite, &small}) ASSERT_EQ(player->start(), 0);
  rig.waiter->wait(1ms);
  opposite.stop();
  EXPECT_EQ(opposite.start(), 0);
  rig.waiter->wait(1ms);
  EXPECT_EQ(rig.host.units->start(rig.unit), 0);
  for (Player* player : {&large, &opposite, &small}) player->stop();
  rig.waiter->wait(1ms);
  EXPECT_EQ(rig.host.units->stop(rig.unit), 0);
  EXPECT_EQ(readSound(folder.file("heard.wav")).samples, (std::vector<float>{5, 8, 0}));
}

TEST(AudioHub, AFailedStartRegistersNobody) {
  const TemporaryFolder folder;
  const std::string missing = folder.file("missing");
  std::filesystem::create_directory(missing);
  UnitRig rig("pace=fast,rate=1000,outputs=1,slice=1,speaker=" + missing + "/heard.wav");
  Player failed(rig, 1);
  Player other(rig, 2);
  std::filesystem::remove(missing);
  EXPECT_EQ(failed.start(), platform::status::notFound);
  std::filesystem::create_directory(missing);
  EXPECT_EQ(other.start(), 0);
  rig.waiter->wait(1ms);
  EXPECT_EQ(failed.slices, 0);
  EXPECT_EQ(other.slices, 1);
}

TEST(AudioHub, NoUnitIsCalledOnceItHasStopped) {
  // The device is always behind with slices so short, so it calls back all the time.
  UnitRig rig("rate=768000,slice=1");
  Player anchor(rig, 1);
  ASSERT_EQ(anchor.start(), 0);
  for (int round = 0; round < 2000; ++round) {
    Player player(rig, 1);
    ASSERT_EQ(player.start(), 0);
    while (round % 16 == 0 && player.slices == 0) std::this_thread::yield();
  }
}

}  // namespace
}  // namespace orvane::test
