#include "platform/host/AudioHub.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/host/HostLog.h"
#include "platform/host/InputEdge.h"
#include "platform/host/RealPace.h"

namespace orvane::host {
namespace {

using platform::Status;

/// A device whose slices the test hands out itself.
class HandDevice : public AudioDevice {
 public:
  std::string hostName() const override { return "hand"; }
  DeviceFormat format() const override { return {48000, 1, 2, 4}; }
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

  void slice() { mCallback.load()->deviceSlice({{}, 0, 4, std::as_const(mCaptured).planes(), played.planes()}); }

  Status startStatus = platform::status::success;
  int starts = 0;
  AlignedSamples played{2, 4};

 private:
  AlignedSamples mCaptured{1, 4};
  std::atomic<DeviceCallback*> mCallback = nullptr;
};

/// Plays one constant in the first channel.
struct Client : HubClient {
  explicit Client(float value) : samples(4, value) {}
  void deviceSlice(const DeviceSlice&, OutputMix& mix) override {
    EXPECT_TRUE(registered);
    mix.add(0, samples.data());
    ++slices;
  }
  std::vector<float> samples;
  std::atomic<bool> registered = false;
  std::atomic<int> slices = 0;
};

class AudioHubTest : public testing::Test {
 protected:
  Status add(Client& client) {
    client.registered = true;
    const Status status = mHub.add(client);
    client.registered = status == platform::status::success;
    return status;
  }
  void remove(Client& client) {
    mHub.remove(client);
    client.registered = false;
  }

 private:
  AudioHub mHub{std::make_unique<HandDevice>(), std::make_shared<RealPace>(std::make_shared<HostLog>())};

 protected:
  HandDevice& mDevice = static_cast<HandDevice&>(mHub.device());
};

TEST_F(AudioHubTest, MixesInOrderOfRegistrationAndSilencesTheRest) {
  // Not associative in single precision: only one order gives this sum.
  Client large(1e8F);
  Client opposite(-1e8F);
  Client small(1.0F);
  for (Client* client : {&large, &opposite, &small}) ASSERT_EQ(add(*client), 0);
  EXPECT_EQ(mDevice.starts, 1);
  mDevice.played.plane(1)[0] = 5;
  mDevice.slice();
  EXPECT_EQ(mDevice.played.plane(0)[3], (1e8F + -1e8F) + 1.0F);
  EXPECT_EQ(mDevice.played.plane(1)[0], 0.0F);

  remove(opposite);
  EXPECT_EQ(add(opposite), 0);
  mDevice.slice();
  EXPECT_EQ(mDevice.played.plane(0)[3], (1e8F + 1.0F) + -1e8F);
  for (Client* client : {&large, &small, &opposite}) remove(*client);
  EXPECT_FALSE(mDevice.isRunning());
}

TEST_F(AudioHubTest, AFailedStartRegistersNobody) {
  Client client(1);
  Client other(2);
  mDevice.startStatus = platform::status::deviceLost;
  EXPECT_EQ(add(client), platform::status::deviceLost);
  mDevice.startStatus = 0;
  EXPECT_EQ(add(other), 0);
  mDevice.slice();
  EXPECT_EQ(mDevice.played.plane(0)[0], 2.0F);
  remove(other);
}

TEST_F(AudioHubTest, NoClientIsCalledOnceItsRemovalHasReturned) {
  Client anchor(1);
  ASSERT_EQ(add(anchor), 0);
  std::atomic<bool> quit = false;
  std::thread callback([&] {
    while (!quit) mDevice.slice();
  });
  for (int round = 0; round < 2000; ++round) {
    Client client(1);
    ASSERT_EQ(add(client), 0);
    while (round % 16 == 0 && client.slices == 0) std::this_thread::yield();
    remove(client);
  }
  quit = true;
  callback.join();
  remove(anchor);
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
