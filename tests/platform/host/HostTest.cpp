// SPDX-License-Identifier: MIT

#include "iounit/AOMeter.h"
#include "platform/Hosts.h"
#include "platform/host/Host.h"
#include "platform/root/HostRegistry.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/UnitRig.h"

namespace orvane::test {
namespace {

using namespace platform;

/// Tests of a host in real and in simulated time. The parameter is the option `pace`.
struct HostAt : testing::TestWithParam<const char*> {};

TEST_P(HostAt, MayLoseItsLastReferenceInItsOwnNotice) {
  for (const bool subscriptionFirst : {true, false}) {
    auto rig = std::make_unique<UnitRig>(std::string(GetParam()) + ",rate=8000");
    const std::shared_ptr<Waiter> waiter = rig->host.scheduler->makeWaiter();
    rig->playSilence();
    Subscription subscription = rig->control.onDeviceEnd([&] {
      if (subscriptionFirst) subscription.reset();
      rig.reset();
      subscription.reset();
      waiter->signal();
    });
    rig->control.endAfterFrames(800);
    ASSERT_EQ(rig->host.units->start(rig->unit), 0);
    EXPECT_TRUE(waiter->wait(10s));
    EXPECT_EQ(rig, nullptr);
  }
}

TEST_P(HostAt, MayBeDroppedWhileItsDeviceRunsInATask) {
  auto host = makeSimulatedHost(GetParam());
  UnitInstance unit{};
  ASSERT_EQ(host.units->createInstance(host.units->findComponent({}), unit), 0);
  host.units->wrap(unit)->setOutputProvider([](auto&, auto&, auto, auto, auto&) { return status::success; });
  ASSERT_EQ(host.units->initialize(unit), 0);
  ASSERT_EQ(host.units->start(unit), 0);
  const std::shared_ptr<Scheduler> scheduler = host.scheduler;
  const auto waiter = scheduler->makeWaiter();
  const auto worker = scheduler->makeWorker("drops");
  worker->postAt(scheduler->clock().now() + 20ms, [&] { host = {}, waiter->signal(); });
  EXPECT_TRUE(waiter->wait(10s));
}

TEST_P(HostAt, TellsEverySubscriberAndNobodyWhoHasLeft) {
  UnitRig rig(std::string(GetParam()) + ",rate=8000");
  rig.playSilence();
  rig.control.endAfterFrames(80);
  std::atomic<int> told = 0;
  const auto tell = [&] { ++told, rig.waiter->signal(); };
  const auto first = rig.control.onDeviceEnd(tell);
  auto left = rig.control.onDeviceEnd([] { FAIL(); });
  const auto second = rig.control.onDeviceEnd(tell);
  left.reset();
  ASSERT_EQ(rig.host.units->start(rig.unit), 0);
  for (int notice = 0; notice < 2; ++notice) EXPECT_TRUE(rig.waiter->wait(10s));
  const auto late = rig.control.onDeviceEnd(tell);
  EXPECT_TRUE(rig.waiter->wait(10s)) << "immediately, as it has already ended";
  EXPECT_EQ(told, 3);
  EXPECT_FALSE(rig.waiter->wait(10ms));
}

INSTANTIATE_TEST_SUITE_P(Pace, HostAt, testing::Values("pace=real", "pace=fast"),
                         [](const auto& each) { return std::string(each.param).substr(5); });

TEST(Host, WithoutAnAudioDeviceHasNoUnits) {
  const auto context = std::make_shared<host::HostContext>(host::HostContext::Pace::fast);
  const Platform before = current();
  use(host::makeHost(context, {"silent", nullptr, nullptr}));
  EXPECT_EQ(current().deviceReport->hostName(), "silent");
  EXPECT_EQ(current().deviceReport->hardwareOutput().channelCount(), 0U);
  EXPECT_EQ(current().deviceReport->sliceFrames(), 0U);
  EXPECT_EQ(reasonOf([] { AOMeter::init()->start(); }), "I/O unit subtype 'rioc' not found");
  use(before);
}

TEST(HostRegistry, KnowsMoreHostsThanAreAvailableAndMakesThoseByName) {
  root::HostRegistry hosts;
  bool isPluggedIn = false;
  hosts.add({"optional", [&] { return isPluggedIn; }, [](auto) { return Platform(); }});
  hosts.add({"other", [] { return true; },
             [](std::string_view options) -> Platform {
               throw PlatformException("Name", "made with " + std::string(options));
             }});
  EXPECT_EQ(hosts.known(), (std::vector<std::string>{"optional", "other"}));
  EXPECT_EQ(hosts.available(), std::vector<std::string>{"other"});
  EXPECT_EQ(reasonOf([&] { hosts.make("other", "salt"); }), "made with salt");
  EXPECT_EQ(reasonOf([&] { hosts.make("optional", ""); }),
            "the host \"optional\" is not available here; available: other");
  EXPECT_EQ(reasonOf([&] { hosts.make("none", ""); }), "unknown host \"none\"; the hosts are optional, other");
  isPluggedIn = true;
  EXPECT_EQ(hosts.available().front(), "optional");
  EXPECT_EQ(reasonOf([] { makeHost("simulated", "rate=x"); }).substr(0, 7), "rate=x:");
}

}  // namespace
}  // namespace orvane::test
