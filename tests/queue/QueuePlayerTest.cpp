// SPDX-License-Identifier: MIT
#include <barrier>
#include <fstream>

#include "platform/StreamFormat.h"
#include "platform/Waiter.h"
#include "queue/OVQueuePlayer.h"
#include "queue/QueuePlayer.h"
#include "session/OVSession.h"
#include "tests/support/ScriptedQueues.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane::test {
namespace {

using platform::StreamFormat;

/// A file of stereo sound and a player for it.
class Player : public testing::Test, protected ScriptedQueues {
 protected:
  Player() {
    use(StreamFormat::linearPcm(44100, 2, 16, platform::format_flag::signedInteger, true).description(), 4);
    finish();
  }

  void use(const StreamDescription& format, std::uint32_t maxPacket) {
    ofFile[SoundFileProperty::formatList] = bytesOf(SoundFileFormat{.description = format});
    ofFile[SoundFileProperty::packetSizeUpperBound] = bytesOf(maxPacket);
  }
  /// Sets the queue's property `isRunning`.
  void finish(std::uint32_t isRunning = 0) { ofQueue[QueueProperty::isRunning] = bytesOf(isRunning); }
  /// Lets the file have `packets` more packets, which are read one at a time.
  void addPackets(std::size_t packets) { reads.insert(reads.end(), packets, Read{0, 1, 4}); }

  static std::shared_ptr<OVQueuePlayer> make() { return OVQueuePlayer::initWithFilePath("a.wav"); }
};

const std::string allocations = "allocateBuffer 88200 > allocateBuffer 88200 > allocateBuffer 88200 > listen 1";
const std::string read = "readPackets 22050 in 88200 at ";

TEST_F(Player, PreparesItsQueueForTheFile) {
  auto player = make();
  EXPECT_EQ(takeCalls(),
            "open a.wav > file size 1 > file property 1 > file size 2 > createOutput > file property 3 > "
            "file size 4 > " +
                allocations);
  EXPECT_TRUE(player->filePath() == "a.wav" && player->fileFormat().sampleRate == 44100);
  player.reset();
  EXPECT_EQ(takeCalls(), "dispose > close");
  ofFile[SoundFileProperty::channelLayout] = Bytes(12);
  ofFile[SoundFileProperty::magicCookie] = Bytes(34);
  player = make();
  EXPECT_THAT(takeCalls(), HasSubstr("file size 2 > file property 2 > createOutput > file property 3 > file size 4 > "
                                     "file property 4 > set queue property 3 to 34 bytes > "
                                     "set queue property 7 to 12 bytes > allocateBuffer"));
  for (const std::string call : {"file size 2", "file size 4"}) {
    answers = {{call, -50}};
    make();
    EXPECT_THAT(takeCalls(), Not(HasSubstr(call == "file size 2" ? "set queue property 7" : "set queue property 3")));
  }
  answers.clear();
  missing = 5;
  make();
  EXPECT_THAT(takeCalls(), AllOf(HasSubstr("set queue property 3 to 34 "), HasSubstr("set queue property 7 to 12 ")));
}

TEST_F(Player, SizesItsBuffersForHalfASecondOfTheLargestPackets) {
  const std::tuple<StreamDescription, std::uint32_t, std::uint32_t, std::string> rows[] = {
      {{.sampleRate = 44100, .bytesPerPacket = 4, .framesPerPacket = 1}, 4, 88200, "22050 in 88200 at 0"},
      {{.sampleRate = 8000, .bytesPerPacket = 1, .framesPerPacket = 1}, 1, 16384, "16384 in 16384 at 0"},
      {{.sampleRate = 44100, .framesPerPacket = 1024}, 1536, 33075, "21 in 33075 at 0 described"},
      {{.sampleRate = 44100}, 100, 65536, "655 in 65536 at 0 described"},
      {{.sampleRate = 44100}, 70000, 70000, "1 in 70000 at 0 described"},
      {{.sampleRate = 44100, .bytesPerPacket = 4}, 4, 65536, "16384 in 65536 at 0 described"},
      {{.sampleRate = 8000, .framesPerPacket = 8000}, 20000, 20000, "1 in 20000 at 0 described"}};
  for (const auto& [format, maxPacket, bytes, asked] : rows) {
    use(format, maxPacket);
    buffers.clear();
    const auto player = make();
    EXPECT_EQ(buffers[0].capacity, bytes);
    takeCalls();
    player->start();
    EXPECT_THAT(takeCalls(), StartsWith("readPackets " + asked));
  }
}

TEST_F(Player, RaisesEachRefusalAndReleasesWhatItHas) {
  ofFile[SoundFileProperty::channelLayout] = Bytes(12);
  ofFile[SoundFileProperty::magicCookie] = Bytes(34);
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"open", "SoundFileService::open failed", "open a.wav"},
      {"file size 1", "couldn't get file's format list info", "file size 1 > close"},
      {"file property 1", "couldn't get file's data format", " > close"},
      {"file property 2", "get audio file's channel layout", " > close"},
      {"createOutput", "BufferQueueService::createOutput failed", "createOutput > close"},
      {"file property 3", "couldn't get file's max packet size", " > dispose > close"},
      {"file property 4", "get cookie from file", " > dispose > close"},
      {"set queue property 3", "set cookie on queue", " > dispose > close"},
      {"set queue property 7", "set channel layout on queue", " > dispose > close"},
      {"allocateBuffer", "BufferQueueService::allocateBuffer failed", "allocateBuffer 88200 > dispose > close"},
      {"listen 1", "BufferQueueService::addPropertyListener failed", " > dispose > close"},
      {"start", "OVQueuePlayer start failed", "start > dispose > close"}};
  for (const auto& [call, message, last] : rows) {
    answers = {{call, -50}};
    EXPECT_EQ(reasonOf([] { make()->start(); }), message + ": -50");
    EXPECT_EQ(logged.back(), "error: Failure: " + message + ": -50");
    EXPECT_THAT(takeCalls(), EndsWith(last)) << call;
  }
  answers.clear();
  use({}, 0);
  EXPECT_EQ(reasonOf(make), "zero length file");
  for (const std::size_t size : {0U, 47U, 48U, 95U, 96U}) {
    use({.framesPerPacket = 1}, 4);
    ofFile[SoundFileProperty::formatList].resize(size);
    const bool isOne = size == 48 || size == 95;
    EXPECT_EQ(reasonOf(make), isOne ? "" : "Don't know how to handle multiple available formats") << size;
  }
  use({.framesPerPacket = 1}, 4);
  services.bufferQueues.reset();
  platform::use(services);
  EXPECT_EQ(reasonOf(make), "BufferQueueService is not available on this host");
  services.soundFiles.reset();
  platform::use(services);
  EXPECT_EQ(reasonOf(make), "SoundFileService is not available on this host");
}

TEST_F(Player, PrimesItsBuffersAndRefillsThem) {
  const auto player = make();
  addPackets(5);
  takeCalls();
  player->start();
  EXPECT_EQ(takeCalls(),
            read + "0 > enqueueBuffer 0 > " + read + "1 > enqueueBuffer 1 > " + read + "2 > enqueueBuffer 2 > start");
  EXPECT_EQ(buffers[0].byteSize, 4U);
  answers = {{"enqueueBuffer", -50}};
  takeBack(1);
  answers.clear();
  takeBack(2);
  takeBack(0);
  takeBack(1);
  EXPECT_EQ(takeCalls(), read + "3 > enqueueBuffer 1 > " + read + "4 > enqueueBuffer 2 > " + read + "5 > stop later");
}

TEST_F(Player, StopsPrimingAtTheEndOfAShortFile) {
  use({.sampleRate = 44100, .framesPerPacket = 1024}, 1536);
  const auto player = make();
  reads = {{0, 2, 3000}};
  takeCalls();
  player->start();
  EXPECT_EQ(takeCalls(),
            "readPackets 21 in 33075 at 0 described > enqueueBuffer 0 with 2 > "
            "readPackets 21 in 33075 at 2 described > stop later > start");
}

TEST_F(Player, IsFinishedWhenItHasPlayedItsFile) {
  int finished = 0;
  const auto player = make();
  player->setFinishedHandler([&] { ++finished; });
  addPackets(4);
  player->start();
  finish(1);
  notify(QueueProperty::isRunning);
  finish(0);
  notify(QueueProperty::isRunning);
  EXPECT_FALSE(player->isFinished() || player->waitUntilFinished(1s)) << "stopped by something else";
  takeBack(0);
  takeBack(1);
  finish(1);
  notify(QueueProperty::isRunning);
  EXPECT_FALSE(player->isFinished()) << "the end of the file is still enqueued";
  finish(0);
  notify(QueueProperty::isRunning);
  notify(QueueProperty::isRunning);
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(player->isFinished() && player->waitUntilFinished(platform::Waiter::forever));
  EXPECT_EQ(finished, 1);
}

TEST_F(Player, IsNotFinishedIfItIsStoppedOrReleasedBeforeTheEnd) {
  int finished = 0;
  for (const bool stops : {true, false}) {
    auto player = make();
    player->setFinishedHandler([&] { ++finished; });
    player->start();  // The end of the file is reached, and nothing has been played.
    takeCalls();
    if (stops) player->stop();
    EXPECT_EQ(takeCalls(), stops ? "stop" : "");
    EXPECT_FALSE(player->isFinished());
    player.reset();
  }
  EXPECT_EQ(finished, 0);
}

TEST_F(Player, IgnoresARefusalToStopAndBindsItsQueueToASession) {
  const auto player = make();
  answers = {{"stop", -50}, {"set queue property 6", -50}};
  EXPECT_NO_THROW(player->stop());
  player->setSession(OVSession::initWithAuxillarySession(false));
  EXPECT_NO_THROW(player->start());
  player->setSession(OVSession::init());
  EXPECT_THAT(reasonOf([&] { player->start(); }), StartsWith("setSession failed -50 -- "));
}

using PlayerDeathTest = Player;

TEST_F(PlayerDeathTest, EndsTheProcessIfTheFileCannotBeReadOrTheQueueNotBeStopped) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto play = [this](std::size_t packets, Status failure) {
    const auto player = make();
    addPackets(packets);
    if (failure != 0) reads.push_back({failure});
    player->start();
    takeBack(0);
  };
  const auto ended = testing::ExitedWithCode(1);
  EXPECT_EXIT(play(0, -6), ended, "error: Error reading from file: -6\n") << "while priming";
  EXPECT_EXIT(play(3, -17), ended, "error: Error reading from file: -17\n") << "in the callback";
  answers = {{"stop later", -50}};
  EXPECT_EXIT(play(3, 0), ended, "error: BufferQueueService::stop\\(immediate = false\\) failed: -50\n");
}

TEST_F(PlayerDeathTest, EndsTheProcessOnceIfTwoPlayersFailAtTheSameTime) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const TemporaryFolder folder;
  writeSound(folder.file("a.wav"), {.samples = std::vector<float>(9)});
  std::ofstream(folder.file("refusing")) << R"({"faults":[{"at":0,"fault":"refuse","status":-6,)"
                                         << R"("call":"SoundFileService::readPackets"}]})";
  const auto failTwice = [&] {
    const platform::Platform host = platform::makeSimulatedHost("scenario=" + folder.file("refusing"));
    host.log->setSink([](auto, std::string_view line) { std::fprintf(stderr, "%s\n", std::string(line).c_str()); });
    platform::use(host);
    std::barrier together(2);
    const auto play = [&] {
      const auto player = OVQueuePlayer::initWithFilePath(folder.file("a.wav"));
      together.arrive_and_wait();
      player->start();
    };
    std::thread other(play);
    play();
    other.join();
  };
  for (int i = 0; i < 10; ++i) EXPECT_EXIT(failTwice(), testing::ExitedWithCode(1), "Error reading from file: -6\n");
}

}  // namespace
}  // namespace orvane::test
