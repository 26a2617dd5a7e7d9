#include "platform/host/AudioHub.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "platform/host/HostLog.h"
#include "platform/host/InputEdge.h"
#include "platform/host/OutputEdge.h"
#include "platform/host/RealPace.h"

namespace orvane::host {
namespace {

using platform::Status;

/// A device whose slices the test hands out itself.
class HandDevice : public AudioDevice {
 public:
  explicit HandDevice(DeviceFormat format) : mFormat(format) {}
  std::string hostName() const override { return "hand"; }
  DeviceFormat format() const override { return mFormat; }
  Status start(DeviceCallback& callback) override {
    ++starts;
    if (startStatus == platform::status::success) mCallback = &callback;
    return startStatus;
  }
  void stop() override { mCallback = nullptr; }
  bool isRunning() const override { return mCallback != nullptr; }
  platform::RunCount runCount() const override { return {}; }
  void endAfterFrames(std::uint64_t) override {}
  void useInput(bool) override {}

  void slice(AlignedSamples& inputs, AlignedSamples& outputs, std::uint32_t frames) {
    const AlignedSamples& captured = inputs;
    mCallback.load()->deviceSlice({{}, 0, frames, captured.planes(), outputs.planes()});
  }

  Status startStatus = platform::status::success;
  int starts = 0;

 private:
  DeviceFormat mFormat;
  std::atomic<DeviceCallback*> mCallback = nullptr;
};

struct Rig {
  explicit Rig(std::uint32_t inputs = 1, std::uint32_t outputs = 2)
      : hub(std::make_unique<HandDevice>(DeviceFormat{48000, inputs, outputs, 4}),
            std::make_shared<RealPace>(std::make_shared<HostLog>())),
        captured(inputs, 4),
        played(outputs, 4) {}
  HandDevice& device() { return static_cast<HandDevice&>(hub.device()); }
  void slice(std::uint32_t frames = 4) { device().slice(captured, played, frames); }

  AudioHub hub;
  AlignedSamples captured;
  AlignedSamples played;
};

/// Plays one constant in one channel.
struct Constant : HubClient {
  Constant(std::uint32_t whichChannel, float value) : channel(whichChannel), samples(4, value) {}
  void deviceSlice(const DeviceSlice& slice, OutputMix& mix) override {
    mix.add(channel, samples.data());
    frames += slice.frames;
  }
  std::uint32_t channel;
  std::vector<float> samples;
  std::uint64_t frames = 0;
};

TEST(AudioHub, MixesInOrderOfRegistrationAndSilencesTheRest) {
  Rig rig;
  // Not associative in single precision: only one order gives this sum.
  Constant large(0, 1e8F);
  Constant opposite(0, -1e8F);
  Constant small(0, 1.0F);
  ASSERT_EQ(rig.hub.add(large), 0);
  ASSERT_EQ(rig.hub.add(opposite), 0);
  ASSERT_EQ(rig.hub.add(small), 0);
  EXPECT_EQ(rig.device().starts, 1);
  rig.played.plane(1)[0] = 5;
  rig.slice();
  EXPECT_EQ(rig.played.plane(0)[3], (1e8F + -1e8F) + 1.0F);
  EXPECT_EQ(rig.played.plane(1)[0], 0.0F);

  rig.hub.remove(opposite);
  EXPECT_EQ(rig.hub.add(opposite), 0);
  rig.slice();
  EXPECT_EQ(rig.played.plane(0)[3], (1e8F + 1.0F) + -1e8F);
  for (Constant* client : {&large, &small, &opposite}) rig.hub.remove(*client);
  EXPECT_FALSE(rig.device().isRunning());
}

TEST(AudioHub, ALoneClientReachesTheDeviceBitForBit) {
  Rig rig;
  Constant negativeZero(0, -0.0F);
  Constant notANumber(1, std::nanf("7"));
  rig.hub.add(negativeZero);
  rig.hub.add(notANumber);
  rig.slice();
  EXPECT_TRUE(std::signbit(rig.played.plane(0)[0]));
  EXPECT_TRUE(std::isnan(rig.played.plane(1)[0]));
  rig.hub.remove(negativeZero);
  rig.hub.remove(notANumber);
}

TEST(AudioHub, AFailedStartRegistersNobody) {
  Rig rig;
  Constant client(0, 1);
  rig.device().startStatus = platform::status::deviceLost;
  EXPECT_EQ(rig.hub.add(client), platform::status::deviceLost);
  rig.device().startStatus = 0;
  Constant other(0, 2);
  EXPECT_EQ(rig.hub.add(other), 0);
  rig.slice();
  EXPECT_EQ(client.frames, 0U);
  rig.hub.remove(other);
}

TEST(AudioHub, NoClientIsCalledOnceItsRemovalHasReturned) {
  Rig rig;
  struct Watched : HubClient {
    void deviceSlice(const DeviceSlice&, OutputMix&) override {
      EXPECT_TRUE(registered);
      ++slices;
    }
    std::atomic<bool> registered = false;
    std::atomic<int> slices = 0;
  };
  Constant anchor(0, 1);
  ASSERT_EQ(rig.hub.add(anchor), 0);
  std::atomic<bool> quit = false;
  std::thread callback([&] {
    while (!quit) rig.slice();
  });
  for (int round = 0; round < 2000; ++round) {
    Watched client;
    client.registered = true;
    ASSERT_EQ(rig.hub.add(client), 0);
    if (round % 16 == 0) {
      while (client.slices == 0) std::this_thread::yield();
    }
    rig.hub.remove(client);
    client.registered = false;
  }
  quit = true;
  callback.join();
  rig.hub.remove(anchor);
}

struct ChannelCase {
  std::vector<float> source;
  std::vector<float> expected;
};

TEST(Edges, ChannelsFollowTheOneRuleInBothDirections) {
  const std::vector<ChannelCase> cases{
      {{0.25F}, {0.25F}},
      {{0.25F}, {0.25F, 0.25F, 0.25F}},
      {{0.25F, 0.5F}, {0.375F}},
      {{1.0F, -1.0F, 0.5F, 0.5F}, {0.25F}},
      {{0.25F, 0.5F}, {0.25F, 0.5F, 0.0F}},
      {{0.25F, 0.5F, 0.75F}, {0.25F, 0.5F}},
      {{0.25F, 0.5F}, {0.25F, 0.5F}},
  };
  for (const auto& [source, expected] : cases) {
    const auto from = static_cast<std::uint32_t>(source.size());
    const auto to = static_cast<std::uint32_t>(expected.size());
    AlignedSamples captured(from, 4);
    AlignedSamples played(to, 4);
    for (std::uint32_t channel = 0; channel < from; ++channel) std::fill_n(captured.plane(channel), 4, source[channel]);
    const AlignedSamples& inputs = captured;

    const DeviceSlice slice{{}, 0, 4, inputs.planes(), played.planes()};
    InputEdge input({from, 48000}, {to, 48000});
    input.accept(slice);
    ASSERT_TRUE(input.next());
    OutputEdge output({from, 48000}, {to, 48000});
    OutputMix mix(played.planes(), 4);
    const platform::OutputProvider provider = [from, &samples = source](auto&, auto&, std::uint32_t frames, auto,
                                                                        auto& list) {
      for (std::uint32_t channel = 0; channel < from; ++channel) {
        std::fill_n(static_cast<float*>(list.buffers()[channel].data), frames, samples[channel]);
      }
      return platform::status::success;
    };
    output.play(provider, slice, mix);
    mix.finish();
    for (std::uint32_t channel = 0; channel < to; ++channel) {
      EXPECT_EQ(input.planes()[channel][3], expected[channel]) << from << " to " << to;
      EXPECT_EQ(played.plane(channel)[3], expected[channel]) << from << " to " << to;
    }
  }
}

TEST(Edges, FetchesOfAnyLengthStayInsideTheStore) {
  const AlignedSamples captured(1, 256);
  InputEdge input({1, 48000}, {1, 96000});
  for (const std::uint32_t frames : {1U, 4096U, 0U, 512U}) {
    for (int slice = 0; slice < 200; ++slice) {
      input.accept({{}, 0, 256, captured.planes(), {}});
      ASSERT_TRUE(input.fetch(frames));
      ASSERT_EQ(input.frames(), frames);
    }
  }
  EXPECT_FALSE(input.fetch(4097));
}

}  // namespace
}  // namespace orvane::host
