// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/PXAudioFileFormats.h"
#include "platform/Clock.h"
#include "platform/PlatformSession.h"
#include "platform/Scheduler.h"
#include "platform/StreamFormat.h"
#include "queue/OVQueueRecorder.h"
#include "queue/QueueRecorder.h"
#include "session/OVSession.h"
#include "tests/support/ScriptedQueues.h"

namespace orvane::test {
namespace {

using platform::StreamFormat;
namespace type = platform::sound_file_type;

class Recorder : public testing::Test, protected ScriptedQueues {
 protected:
  Recorder() {
    types = {{type::aiff, "A", {{"aif", "aiff"}}}, {type::aifc, "B", {{"aifc"}}}, {type::wave, "C", {{"wav"}}}};
    PXAudioFileFormats::Instance(false);
    takeCalls();
  }

  /// Makes a recorder in a compressed format, whose queue has a cookie.
  static std::shared_ptr<OVQueueRecorder> makeCompressed() {
    return OVQueueRecorder::initWithFilePath(
        "a", StreamFormat({.sampleRate = 44100, .formatID = 1, .framesPerPacket = 1024, .channelsPerFrame = 1}));
  }
  /// Starts a recorder of linear PCM and forgets the calls so far.
  std::shared_ptr<OVQueueRecorder> makeRunning() {
    auto recorder = OVQueueRecorder::initWithFilePath("a.wav");
    recorder->start();
    takeCalls();
    return recorder;
  }
};

const std::string allocations = "allocateBuffer 44100 > allocateBuffer 44100 > allocateBuffer 44100";
const std::string enqueues = "enqueueBuffer 0 > enqueueBuffer 1 > enqueueBuffer 2";

TEST_F(Recorder, RecordsInTheFormatOfTheExtension) {
  const std::pair<std::string, std::string> rows[] = {{"take.aif", "AIFF 14"},  {"take.AIFF", "AIFF 14"},
                                                      {"take.aifc", "AIFC 14"}, {"take.wav", "WAVE 12"},
                                                      {"take.mp3", "RF64 12"},  {"/a.wav/take", "RF64 12"}};
  for (const auto& [path, made] : rows) {
    ofQueue.clear();
    takeCalls();
    const auto recorder = OVQueueRecorder::initWithFilePath(path);
    EXPECT_EQ(takeCalls(), "createInput > queue property 2 > create " + path + " " + made + " > queue size 3 > " +
                               allocations + " > listen 1 > listen 5");
    EXPECT_TRUE(recorder->filePath() == path && !recorder->fileFormat() && !recorder->session());
  }
  EXPECT_EQ(takeCalls(), "close > dispose");
}

TEST_F(Recorder, SizesItsBuffersForHalfASecond) {
  ofQueue[QueueProperty::maxOutputPacketSize] = bytesOf(1536U);
  const std::tuple<StreamDescription, std::uint32_t> rows[] = {
      {{.sampleRate = 44100, .framesPerPacket = 1, .bytesPerFrame = 2}, 44100},
      {{.sampleRate = 44101, .framesPerPacket = 1, .bytesPerFrame = 2}, 44102},
      {{.sampleRate = 44100, .framesPerPacket = 1024}, 21 * 1536},
      {{.sampleRate = 44100, .framesPerPacket = 22051}, 1536},
      {{.sampleRate = 8000, .bytesPerPacket = 33, .framesPerPacket = 160}, 25 * 33},
      {{.sampleRate = 10}, 5 * 1536},
      {{.sampleRate = 10, .bytesPerPacket = 3}, 5 * 3}};
  for (const auto& [format, bytes] : rows)
    EXPECT_EQ(QueueRecorder::computeRecordBufferSize(format, queue, 0.5F), bytes);
  // The queue's own description counts.
  ofQueue[QueueProperty::streamDescription] = bytesOf(std::get<0>(rows[2]));
  const auto recorder = makeCompressed();
  EXPECT_EQ(buffers[0].capacity, 21U * 1536);
  EXPECT_EQ(recorder->recordedFormat(), std::get<0>(rows[2]));
}

TEST_F(Recorder, RaisesEachRefusalAndReleasesWhatItHas) {
  ofQueue[QueueProperty::magicCookie] = Bytes(3);
  ofQueue[QueueProperty::maxOutputPacketSize] = bytesOf(100U);
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"createInput", "BufferQueueService::createInput failed", "createInput"},
      {"queue property 2", "Couldn't get queue's format", " > dispose"},
      {"create", "SoundFileService::create failed", " > dispose"},
      {"queue property 3", "Couldn't get audio queue's magic cookie", " > close > dispose"},
      {"set file property 4", "Set audio file's magic cookie", " > close > dispose"},
      {"queue property 4", "Couldn't get queue's maximum output packet size", " > close > dispose"},
      {"allocateBuffer", "BufferQueueService::allocateBuffer failed", " 2100 > close > dispose"},
      {"listen 1", "BufferQueueService::addPropertyListener failed", " > close > dispose"},
      {"listen 5", "BufferQueueService::addPropertyListener failed", " > close > dispose"},
      {"enqueueBuffer", "BufferQueueService::enqueueBuffer failed", "enqueueBuffer 0 > close > dispose"},
      {"start", "BufferQueueService::start failed", enqueues + " > start > stop > close > dispose"}};
  for (const auto& [call, message, last] : rows) {
    answers = {{call, -50}};
    EXPECT_EQ(reasonOf([] { makeCompressed()->start(); }), message + ": -50");
    EXPECT_THAT(logged, ElementsAre("error: Failure: " + message + ": -50"));
    EXPECT_THAT(takeCalls(), EndsWith(last)) << call;
    logged.clear();
  }
  answers.clear();
  for (auto* role : {&services.bufferQueues}) {
    const auto absent = std::exchange(*role, nullptr);
    platform::use(services);
    EXPECT_EQ(reasonOf(makeCompressed), "BufferQueueService is not available on this host");
    *role = absent;
  }
  services.soundFiles.reset();
  platform::use(services);
  EXPECT_EQ(reasonOf(makeCompressed), "SoundFileService is not available on this host");
}

TEST_F(Recorder, CopiesTheCookieToTheFileAtTheStartAndAtTheEnd) {
  ofQueue[QueueProperty::magicCookie] = Bytes(3);
  const std::string copied = "queue size 3 > queue property 3 > file size 4 > set file property 4 to 3 bytes";
  auto recorder = OVQueueRecorder::initWithFilePath("a");
  EXPECT_THAT(takeCalls(), HasSubstr("create a RF64 12 > " + copied + " > allocate"));
  recorder->start();
  takeCalls();
  recorder->stop();
  EXPECT_EQ(takeCalls(), "stop > " + copied);
  for (const std::string call : {"queue size 3", "file size 4"}) {
    answers = {{call, -50}};
    recorder->start();
    recorder->stop();
    EXPECT_THAT(takeCalls(), EndsWith(call)) << "not an error";
  }
  answers.clear();
  cookieIsWritable = false;
  recorder->start();
  recorder->stop();
  EXPECT_THAT(takeCalls(), EndsWith("file size 4"));
}

TEST_F(Recorder, WritesWhatItIsGivenAndEnqueuesTheBufferAgain) {
  auto recorder = OVQueueRecorder::initWithFilePath("a.wav");
  takeCalls();
  deliver(0, 100, 50);
  EXPECT_EQ(takeCalls(), "") << "not running";
  recorder->start();
  EXPECT_EQ(takeCalls(), enqueues + " > start");
  const platform::PacketDescription packet;
  deliver(0, 100, 50, &packet);
  deliver(1, 0, 0);
  deliver(99, 100, 50);  // no buffer
  written = 40;
  deliver(2, 100, 50);
  deliver(2, 100, 50);
  EXPECT_EQ(takeCalls(),
            "writePackets 100 bytes, 50 at 0 described > enqueueBuffer 0 > enqueueBuffer 1 > "
            "writePackets 100 bytes, 50 at 50 > enqueueBuffer 2 > "
            "writePackets 100 bytes, 50 at 90 > enqueueBuffer 2");
  for (const std::string call : {"writePackets", "enqueueBuffer"}) {
    answers = {{call, -50}};
    EXPECT_NO_THROW(deliver(0, 8, 4));
  }
  EXPECT_EQ(takeCalls(), "writePackets 8 bytes, 4 at 130 > writePackets 8 bytes, 4 at 130 > enqueueBuffer 0");
  answers.clear();
  duringStop = [this] { deliver(1, 2, 1); };
  recorder->stop();
  EXPECT_EQ(takeCalls(), "stop > writePackets 2 bytes, 1 at 170 > queue size 3");
  recorder->start();
  duringStop = [] {};
  deliver(0, 2, 1);
  EXPECT_EQ(takeCalls(), enqueues + " > start > writePackets 2 bytes, 1 at 210 > enqueueBuffer 0");
}

TEST_F(Recorder, PrintsTheErrorOfTheConverter) {
  const auto recorder = makeRunning();
  const Status error = -18;
  ofQueue[QueueProperty::converterError] = bytesOf(error);
  testing::internal::CaptureStdout();
  notify(QueueProperty::converterError);
  answers = {{"queue property 5", -50}};
  notify(QueueProperty::converterError);
  notify(QueueProperty::isRunning);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "*** queue converter error: 4294967278\n");
}

TEST_F(Recorder, WaitsForTheQueueToReportThatItStopped) {
  const auto recorder = makeRunning();
  EXPECT_EQ((recorder->stop(), takeCalls()), "stop > queue size 3");
  EXPECT_EQ((recorder->stop(), takeCalls()), "") << "stopped already";
  recorder->start();
  answers = {{"stop", -50}};
  EXPECT_EQ(reasonOf([&] { recorder->stop(); }), "BufferQueueService::stop failed: -50");
  answers.clear();
  reportsStop = false;
  duringStop = [this] { notify(QueueProperty::isRunning); };
  recorder->stop();  // Still running, and can be stopped now.
  recorder->start();
  duringStop = [] {};
  const platform::Clock& clock = services.scheduler->clock();
  const platform::HostTime before = clock.now();
  EXPECT_EQ(reasonOf([&] { recorder->stop(); }), "stop failed: the queue did not report within 5 s that it stopped");
  EXPECT_GE(clock.now() - before, 5s);
  takeCalls();
  EXPECT_EQ((recorder->stop(), takeCalls()), "");
}

TEST_F(Recorder, BindsItsQueueToAnAuxiliarySession) {
  struct NoSession final : OVSession {
    NoSession() : OVSession(false) {}
    std::shared_ptr<platform::Object> session() const override { return nullptr; }
  };
  const auto recorder = OVQueueRecorder::initWithFilePath("a.wav");
  const std::shared_ptr<OVSession> unbound[] = {OVSession::initWithAuxillarySession(false),
                                                std::make_shared<NoSession>()};
  for (const auto& session : unbound) {
    recorder->setSession(session);
    takeCalls();
    recorder->start();
    EXPECT_EQ(takeCalls(), enqueues + " > start");
  }
  recorder->setSession(OVSession::init());
  recorder->start();
  EXPECT_EQ(takeCalls(), "set queue property 6 to 4 bytes > " + enqueues + " > start");
  const auto identifier = dynamic_cast<platform::PlatformSession&>(*recorder->session()->session()).identifier();
  EXPECT_EQ(ofQueue[QueueProperty::clientSession], bytesOf(identifier));
  answers = {{"set queue property 6", -50}};
  EXPECT_EQ(reasonOf([&] { recorder->start(); }),
            "setSession failed -50 -- BufferQueueService::setProperty(QueueProperty::clientSession) sessionID: " +
                std::to_string(identifier));
}

TEST_F(Recorder, TakesAFormatUntilTheFirstStart) {
  const auto recorder = OVQueueRecorder::initWithFilePath("a.wav");
  const StreamFormat format = StreamFormat::linearPcm(8000, 2, 8, 0, true);
  recorder->setFileFormat(format);
  takeCalls();
  ofQueue.clear();
  recorder->start();
  EXPECT_THAT(takeCalls(), AllOf(StartsWith("createInput > queue property 2 > create a.wav WAVE 8"),
                                 HasSubstr("allocateBuffer 8000"),
                                 EndsWith("close > dispose > enqueueBuffer 0 > "
                                          "enqueueBuffer 1 > enqueueBuffer 2 > start")));
  EXPECT_EQ(recorder->recordedFormat(), format.description());
  recorder->stop();
  recorder->setFileFormat(std::nullopt);
  takeCalls();
  recorder->start();
  EXPECT_THAT(takeCalls(), EndsWith("enqueueBuffer 2 > start"));
}

using RecorderDeathTest = Recorder;

TEST_F(RecorderDeathTest, EndsTheProcessIfItCannotBeStoppedWhenItIsReleased) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto release = [this] {
    auto recorder = makeRunning();
    answers = {{"stop", -50}};
    recorder.reset();
  };
  EXPECT_DEATH(release(), "terminate called");
}

}  // namespace
}  // namespace orvane::test
