// SPDX-License-Identifier: MIT
#include <cstring>
#include <numeric>

#include "platform/BufferQueue.h"
#include "platform/PlatformSession.h"
#include "platform/SessionIdentifiers.h"
#include "platform/SoundFileService.h"
#include "platform/StreamFormat.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/UnitRig.h"

namespace orvane::test {
namespace {

using namespace platform;

StreamDescription floats(std::uint32_t channels = 1, double rate = 48000) {
  return StreamFormat::linearPcm(rate, channels, 32, format_flag::isFloat, true).description();
}

/// A buffer queue with two buffers of 1000 frames of mono floats. Records what it calls back.
class Queue {
 public:
  Queue(const Platform& services, bool isInput, const StreamDescription& format = floats())
      : host(services), queues(*host.bufferQueues) {
    const auto took = [](void* self, BufferQueue, QueueBuffer* buffer, const RenderTimeStamp& time,
                         std::uint32_t packets,
                         const PacketDescription*) { static_cast<Queue*>(self)->take(*buffer, time, packets); };
    const auto returned = [](void* self, BufferQueue, QueueBuffer* buffer) {
      static_cast<Queue*>(self)->take(*buffer, {}, 0);
    };
    EXPECT_EQ(
        isInput ? queues.createInput(format, took, this, queue) : queues.createOutput(format, returned, this, queue),
        0);
    EXPECT_EQ(queues.addPropertyListener(
                  queue, QueueProperty::isRunning,
                  [](void* self, BufferQueue, QueueProperty) {
                    auto& each = *static_cast<Queue*>(self);
                    (each.number(QueueProperty::isRunning) != 0 ? each.starts : each.stops)++;
                  },
                  this),
              0);
    for (QueueBuffer*& buffer : buffers) EXPECT_EQ(queues.allocateBuffer(queue, 4000, buffer), 0);
  }
  ~Queue() { queues.dispose(queue); }
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  /// Enqueues a buffer, filled with `frames` frames of `value`.
  Status enqueue(std::size_t index, std::uint32_t frames = 0, float value = 0) {
    std::fill_n(static_cast<float*>(buffers[index]->data), frames, value);
    buffers[index]->byteSize = frames * 4;
    return queues.enqueueBuffer(queue, buffers[index], 0, nullptr);
  }
  Status start() { return queues.start(queue); }
  Status stop(bool immediate = true) { return queues.stop(queue, immediate); }
  std::uint32_t number(QueueProperty property) {
    std::uint32_t value = 77, size = sizeof value;
    EXPECT_EQ(queues.property(queue, property, &value, size), 0);
    return value;
  }
  std::uint64_t frames() const { return std::accumulate(taken.begin(), taken.end(), std::uint64_t{0}); }

  const Platform host;
  BufferQueueService& queues;
  BufferQueue queue{};
  std::array<QueueBuffer*, 2> buffers{};
  std::atomic<bool> enqueuesAgain = false;
  std::vector<std::uint32_t> taken;  ///< The packets of each callback; used on the queue's thread.
  std::vector<double> times;
  std::atomic<int> starts = 0, stops = 0;

 private:
  void take(QueueBuffer& buffer, const RenderTimeStamp& time, std::uint32_t packets) {
    taken.push_back(packets);
    times.push_back(time.sampleTime);
    if (!enqueuesAgain) return;
    const Status enqueued = queues.enqueueBuffer(queue, &buffer, 0, nullptr);
    // After a stop the test may have been faster.
    EXPECT_TRUE(enqueued == 0 || enqueued == status::wrongState) << enqueued;
  }
};

/// A device whose slices the test makes; the tasks of its host run in `settle`.
struct QueueRig : testing::Test, ScriptedDevice {
  void settle() const { services.scheduler->makeWaiter()->wait(5ms); }
  /// Makes a slice and returns the last sample that was played.
  float play(std::uint32_t frames = 256) {
    slice(frames);
    settle();
    return state->played.empty() ? 99 : state->played.back();
  }
  /// Captures `frames` frames in slices of 256.
  void capture(std::uint32_t frames) {
    for (; frames > 0; frames -= std::min(frames, 256U)) play(std::min(frames, 256U));
  }
  /// Makes slices until a queue has stopped by itself. Returns the sum of the samples that were played.
  double playToTheEnd(const Queue& queue) {
    double sum = 0;
    for (int i = 0; i < 100 && queue.stops == 0; ++i) {
      play();
      sum = std::accumulate(state->played.begin(), state->played.end(), sum);
    }
    EXPECT_EQ(queue.stops, 1);
    return sum;
  }
  RunCount count() const { return services.deviceReport->runCount(); }
};

TEST_F(QueueRig, OutputQueuesAreMixedStoppedAndStartedAgain) {
  Queue one(services, false), other(services, false), idle(services, false);
  for (std::size_t i = 0; i < 2; ++i) EXPECT_EQ(one.enqueue(i, 1000, 0.25F) + other.enqueue(i, 1000, 0.5F), 0);
  EXPECT_EQ(one.start() + other.start() + other.start() + idle.start(), 0);
  EXPECT_EQ(play(), 0.75F);
  EXPECT_EQ(one.number(QueueProperty::isRunning), 1U);
  EXPECT_EQ(other.stop(), 0);
  EXPECT_EQ(play(), 0.25F);
  EXPECT_TRUE(other.starts == 1 && other.stops == 1 && other.stop() == 0);
  EXPECT_EQ(other.enqueue(0, 100, -0.5F), 0) << "buffers that were not used up belong to the client again";
  EXPECT_EQ(other.stop(false), 0) << "the wish is kept for the next start";
  EXPECT_EQ(other.start(), 0);
  slice(256);
  EXPECT_EQ(std::pair(state->played[99], state->played[100]), std::pair(-0.25F, 0.25F));
  EXPECT_EQ(play(), 0.25F);
  settle();
  EXPECT_TRUE(other.stops == 2 && other.number(QueueProperty::isRunning) == 0);
  EXPECT_EQ(one.stop(false), 0);
  EXPECT_EQ(one.stops, 0) << "976 of 2000 frames are left";
  for (int i = 0; i < 3; ++i) EXPECT_EQ(play(), 0.25F);
  EXPECT_EQ(play(), 0);
  play();
  settle();
  EXPECT_TRUE(one.stops == 1 && one.taken.size() == 2);
  EXPECT_EQ(count().discontinuities, 0U);
}

TEST_F(QueueRig, AnOutputQueueThatStarvesPlaysSilenceWhichIsCountedOnce) {
  Queue queue(services, false);
  EXPECT_EQ(queue.start(), 0);
  EXPECT_EQ(play(), 0) << "nothing has been enqueued";
  EXPECT_EQ(queue.enqueue(0, 300, 0.5F), 0);
  settle();
  EXPECT_EQ(play(), 0.5F);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(play(), 0);
  EXPECT_EQ(count().discontinuities, 1U);
  EXPECT_EQ(queue.enqueue(0, 1000, 0.25F), 0);
  settle();
  EXPECT_EQ(play(), 0.25F);
  EXPECT_TRUE(count().discontinuities == 1 && queue.taken.size() == 2);
}

TEST_F(QueueRig, AnOutputQueueWhoseStartWasRefusedPlaysEverythingLater) {
  Queue queue(services, false);
  EXPECT_EQ(queue.enqueue(0, 1000, 0.5F) + queue.enqueue(1, 1000, 0.5F), 0);
  loseDevice();
  EXPECT_EQ(queue.start(), status::deviceLost);
  EXPECT_EQ(queue.number(QueueProperty::isRunning), 0U);
  state->onStart = nullptr;
  state->format = {24000, 1, 1, 256};  // What was decoded for another rate is not lost.
  EXPECT_EQ(queue.start() + queue.stop(false), 0);
  settle();
  EXPECT_EQ(queue.taken.size(), 2U) << "both buffers are the client's again";
  EXPECT_NEAR(playToTheEnd(queue), 0.5 * 1000, 5);
}

TEST_F(QueueRig, AnOutputQueuePlaysItsLastFramesAtTheRateOfAnotherDevice) {
  Queue queue(services, false);
  EXPECT_EQ(queue.enqueue(0, 1000, 0.5F) + queue.stop(false) + queue.start(), 0);
  EXPECT_EQ(play(), 0.5F);
  change({24000, 1, 1, 256});
  for (int i = 0; i < 400 && state->callback == nullptr; ++i) settle();
  EXPECT_NEAR(playToTheEnd(queue), 0.5 * (1000 - 256) / 2, 5);
}

TEST_F(QueueRig, AnOldEndDoesNotStopAQueueThatWasStartedAgain) {
  Queue queue(services, false);
  EXPECT_EQ(queue.enqueue(0, 100, 0.5F) + queue.stop(false) + queue.start(), 0);
  slice(256);
  slice(256);  // The callback has announced the end; the worker has not seen it.
  EXPECT_EQ(queue.stop() + queue.enqueue(0, 1000, 0.25F) + queue.start(), 0);
  settle();
  EXPECT_EQ(play(), 0.25F);
  settle();
  EXPECT_EQ(play(), 0.25F);
  EXPECT_EQ(queue.number(QueueProperty::isRunning), 1U);
}

TEST_F(QueueRig, AnInputQueueDeliversWhatItHasBeforeItIsStopped) {
  Queue queue(services, true);
  EXPECT_EQ(queue.enqueue(0) + queue.enqueue(1) + queue.start(), 0);
  queue.enqueuesAgain = true;
  capture(1280);
  EXPECT_THAT(queue.taken, ElementsAre(1000));
  EXPECT_EQ(queue.stop(), 0);
  EXPECT_THAT(queue.taken, ElementsAre(1000, 280));
  EXPECT_THAT(queue.times, ElementsAre(0, 1000));
  settle();
  EXPECT_TRUE(queue.starts == 1 && queue.stops == 1 && queue.stop() == 0);
  queue.enqueuesAgain = false;
  EXPECT_EQ(queue.enqueue(1) + queue.start(), 0) << "both buffers belong to the client";
  capture(10);
  EXPECT_EQ(queue.stop(), 0);
  EXPECT_TRUE(queue.taken.back() == 10 && queue.times.back() == 0 && count().overruns == 0);
}

TEST_F(QueueRig, AnInputQueueWithoutBuffersDropsAndCountsWhatItCannotKeep) {
  std::string log;
  services.log->setSink([&](LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
  Queue queue(services, true);
  EXPECT_EQ(queue.enqueue(0) + queue.start(), 0);
  capture(90'000);
  EXPECT_EQ(count().overruns, 0U) << "less than two seconds";
  capture(30'000);
  EXPECT_THAT(queue.taken, ElementsAre(1000));
  EXPECT_EQ(queue.stop(), 0);
  EXPECT_GE(count().overruns, 80U);
  EXPECT_THAT(log, HasSubstr("the end of a recording was lost: its queue has no free buffer"));
}

TEST_F(QueueRig, QueuesGoOnAfterTheDeviceChangedAndEndWithIt) {
  Queue input(services, true), output(services, false);
  EXPECT_EQ(input.enqueue(0) + input.enqueue(1) + input.start() + output.enqueue(0, 1000, 0.5F) + output.start(), 0);
  input.enqueuesAgain = output.enqueuesAgain = true;
  capture(4800);
  EXPECT_EQ(state->played.back(), 0.5F);
  change({44100, 2, 1, 256});
  for (int i = 0; i < 400 && state->callback == nullptr; ++i) settle();
  ASSERT_NE(state->callback, nullptr);
  for (int i = 0; i < 10; ++i) {
    slice(441, 0, 2);
    settle();
  }
  EXPECT_NEAR(state->played.back(), 0.5F, 0.01F);
  EXPECT_EQ(input.stop(), 0);
  EXPECT_EQ(input.frames(), 9600U) << "at the queue's rate";
  loseDevice();
  change({48000, 1, 1, 256});
  for (int i = 0; i < 1000 && !services.deviceReport->deviceFailure(); ++i) settle();
  ASSERT_TRUE(services.deviceReport->deviceFailure());
  EXPECT_EQ(output.stop(), 0);
  EXPECT_EQ(output.start(), status::deviceLost);
}

TEST_F(QueueRig, QueuesRefuseWrongArguments) {
  Queue input(services, true), output(services, false), stereo(services, false, floats(2));
  BufferQueueService& queues = output.queues;
  BufferQueue made{};
  const auto ignore = [](void*, BufferQueue, QueueBuffer*) {};
  StreamDescription planar = floats(2);
  planar.formatFlags |= format_flag::nonInterleaved;
  for (const StreamDescription& wrong : {planar, floats(65), floats(0), floats(1, 0), floats(1, -1), floats(1, NAN),
                                         floats(1, HUGE_VAL), StreamDescription{.sampleRate = 48000, .formatID = 1}}) {
    EXPECT_EQ(queues.createOutput(wrong, ignore, nullptr, made), status::unsupportedFormat) << wrong.sampleRate;
    EXPECT_EQ(made, BufferQueue::none);
  }
  EXPECT_EQ(queues.createOutput(floats(), nullptr, nullptr, made), status::badParameter);
  EXPECT_EQ(output.enqueue(0, 10), 0);
  EXPECT_EQ(output.enqueue(0, 10), status::wrongState);
  QueueBuffer* const buffer = output.buffers[1];
  for (const std::uint32_t size : {3U, 4004U}) {
    buffer->byteSize = size;
    EXPECT_EQ(queues.enqueueBuffer(output.queue, buffer, 0, nullptr), status::badParameter) << size;
  }
  EXPECT_EQ(queues.enqueueBuffer(output.queue, input.buffers[0], 0, nullptr), status::badParameter);
  EXPECT_EQ(queues.enqueueBuffer(output.queue, nullptr, 0, nullptr), status::badParameter);
  QueueBuffer* allocated = buffer;
  for (const std::uint32_t size : {0U, (256U << 20) + 1})
    EXPECT_EQ(queues.allocateBuffer(output.queue, size, allocated), status::badParameter);
  std::uint32_t value = 7, size = 4;
  for (const QueueProperty fixed :
       {QueueProperty::isRunning, QueueProperty::streamDescription, QueueProperty::maxOutputPacketSize,
        QueueProperty::converterError, QueueProperty{0}})
    EXPECT_EQ(queues.setProperty(output.queue, fixed, &value, 4), status::badParameter);
  EXPECT_EQ(queues.setProperty(output.queue, QueueProperty::clientSession, &value, 3), status::badParameter);
  EXPECT_EQ(queues.setProperty(output.queue, QueueProperty::clientSession, &value, 4), status::unknownSession);
  const std::uint32_t layout[] = {1, 2, 1, 4, 5, 6, 7, 8};
  EXPECT_EQ(queues.setProperty(output.queue, QueueProperty::channelLayout, layout, 28), status::badParameter);
  EXPECT_EQ(queues.setProperty(output.queue, QueueProperty::channelLayout, layout, 32), 0);
  EXPECT_TRUE(queues.propertySize(output.queue, QueueProperty::channelLayout, size) == 0 && size == 32);
  EXPECT_EQ(queues.property(output.queue, QueueProperty::streamDescription, &value, size = 4), status::badParameter);
  EXPECT_EQ(queues.addPropertyListener(
                output.queue, QueueProperty::magicCookie, [](void*, BufferQueue, QueueProperty) {}, nullptr),
            status::badParameter);
  for (const BufferQueue none : {BufferQueue::none, BufferQueue{77}}) {
    EXPECT_EQ(queues.start(none), status::badParameter);
    EXPECT_EQ(queues.stop(none, true), status::badParameter);
    EXPECT_EQ(queues.dispose(none), status::badParameter);
  }
  const auto session = services.sessions->makeAuxiliary();
  for (auto& [queue, refusal, name] :
       {std::tuple(&input, status::noInput, category::playback), {&output, status::noOutput, category::record}}) {
    EXPECT_FALSE(session->setCategory(name));
    const std::uint32_t identifier = session->identifier();
    EXPECT_EQ(queues.setProperty(queue->queue, QueueProperty::clientSession, &identifier, 4), 0);
    EXPECT_EQ(queue->start(), refusal);
    EXPECT_EQ(queue->number(QueueProperty::isRunning), 0U);
  }
}

TEST_F(QueueRig, ACompressedRecordingIsCompleteAfterStopAndCannotBeContinued) {
  Queue queue(services, true, {.sampleRate = 48000, .formatID = opusFormatID, .channelsPerFrame = 1});
  EXPECT_EQ(queue.number(QueueProperty::maxOutputPacketSize), 1276U);
  EXPECT_EQ(queue.enqueue(0) + queue.enqueue(1) + queue.start(), 0);
  queue.enqueuesAgain = true;
  capture(9600);
  EXPECT_EQ(queue.stop(), 0);
  EXPECT_EQ(queue.frames(), 11U) << "packets of 20 ms, with the look-ahead of the encoder";
  EXPECT_EQ(queue.start(), status::wrongState);
  Queue damaged(services, false, {.sampleRate = 48000, .formatID = opusFormatID, .channelsPerFrame = 1});
  const PacketDescription wrong[] = {{0, 960, 4001}, {4000, 960, 1}, {-1, 960, 1}, {3999, 960, 2}};
  damaged.buffers[0]->byteSize = 4000;
  for (const PacketDescription& each : wrong)
    EXPECT_EQ(damaged.queues.enqueueBuffer(damaged.queue, damaged.buffers[0], 1, &each), status::badParameter);
  const PacketDescription packet{0, 960, 4000};
  std::memset(damaged.buffers[0]->data, 0xFF, 4000);
  EXPECT_EQ(damaged.start() + damaged.queues.enqueueBuffer(damaged.queue, damaged.buffers[0], 1, &packet), 0);
  settle();
  EXPECT_EQ(static_cast<Status>(damaged.number(QueueProperty::converterError)), status::invalidFile);
}

TEST(QueueThreads, QueuesAreStartedStoppedAndDestroyedWhileTheyCallBack) {
  for (int round = 0; round < 40; ++round) {
    const Platform host = makeSimulatedHost("rate=48000,slice=8,mic=noise:1");
    std::optional<Queue> input(std::in_place, host, true), output(std::in_place, host, false);
    input->enqueuesAgain = output->enqueuesAgain = true;
    EXPECT_EQ(output->enqueue(0, 50, 0.5F) + output->enqueue(1, 1000, 0.5F) + input->enqueue(0), 0);
    EXPECT_EQ(output->start() + input->start(), 0);
    std::thread stopper([&] {
      std::this_thread::sleep_for(std::chrono::microseconds(round * 100));
      EXPECT_EQ(input->stop() + input->enqueue(1) + input->start(), 0);
    });
    std::this_thread::sleep_for(2ms);
    EXPECT_EQ(output->stop(), 0);
    output->enqueue(0, 10);  // Refused if the last callback has just enqueued it.
    EXPECT_EQ(output->stop(false) + output->start(), 0);
    stopper.join();
    // The queues are running.
    (round % 2 == 0 ? input : output).reset();
  }
}

TEST(QueueThreads, ManyShortBuffersPlayOutInOrderOnceTheyAreEnqueued) {
  const TemporaryFolder folder;
  const Platform host = makeSimulatedHost("outputs=1,speaker=" + folder.file("heard.wav"));
  Queue queue(host, false);
  queue.enqueuesAgain = true;
  EXPECT_EQ(queue.enqueue(0, 100, 0.25F) + queue.enqueue(1, 100, 0.5F) + queue.start(), 0);
  std::this_thread::sleep_for(200ms);
  queue.enqueuesAgain = false;
  EXPECT_EQ(queue.stop(false), 0);
  for (int i = 0; i < 4000 && queue.stops == 0; ++i) std::this_thread::sleep_for(5ms);
  EXPECT_EQ(queue.stops, 1);
  const Sound heard = readSound(folder.file("heard.wav"));
  const auto first = std::ranges::find(heard.samples, 0.25F) - heard.samples.begin();
  std::size_t wrong = 0, played = 0;
  for (std::size_t i = static_cast<std::size_t>(first); i < heard.samples.size() && heard.samples[i] != 0;
       ++i, ++played)
    wrong += heard.samples[i] != (played % 200 < 100 ? 0.25F : 0.5F);
  EXPECT_TRUE(wrong == 0 && played % 100 == 0 && played >= 9600) << wrong << " of " << played;
}

}  // namespace
}  // namespace orvane::test
