#include "iounit/AORecord.h"

#include <csignal>

#include "tests/support/ReasonOf.h"
#include "tests/support/ScriptedConvertingFile.h"
#include "tests/support/ScriptedUnit.h"

namespace orvane::test {
namespace {

using namespace platform;
using testing::_;
using testing::InSequence;
using testing::Return;
using Handle = ConvertingFile::Handle;

constexpr Handle kFirst{1};
constexpr Handle kSecond{2};

class AORecordTest : public testing::Test {
 protected:
  AORecordTest() {
    Platform services = current();
    services.convertingFiles = service;
    use(std::move(services));
    scripted.setHardware(StreamFormat::standard(48000, 2), {});
    scripted.captured = {{1, 2, 3}, {-1, -2, -3}};
  }

  /// Which file takes the slice that is delivered now; 0 where nothing takes it.
  int takesASlice() {
    files.writes.clear();
    if (scripted.inputHandler) scripted.deliver(3);
    return files.writes.empty() ? 0 : files.writes.front().file;
  }

  ScriptedUnit scripted;
  ScriptedUnitService& units = *scripted.service;
  const std::shared_ptr<testing::NiceMock<ScriptedConvertingFile>> service =
      std::make_shared<testing::NiceMock<ScriptedConvertingFile>>();
  ScriptedConvertingFile& files = *service;
  std::shared_ptr<AORecord> record = AORecord::initWithFilePath("a folder/take.wav");
};

TEST_F(AORecordTest, StartGoesFromInitialisingToRunningInOrder) {
  EXPECT_EQ(record->filePath(), "a folder/take.wav");
  EXPECT_EQ(record->clientSampleRate(), 0.0);
  EXPECT_CALL(files, dispose).Times(2);
  for (const auto& [clientRate, rate] : {std::pair{0.0, 48000.0}, std::pair{16000.0, 16000.0}}) {
    record = AORecord::initWithFilePath("a folder/take.wav");
    record->setClientSampleRate(clientRate);
    const StreamFormat client = StreamFormat::standard(rate, 2);
    const StreamDescription data{.sampleRate = rate,
                                 .formatID = 0x6C70636D,
                                 .formatFlags = 0x4 | 0x8 | (std::endian::native == std::endian::big ? 0x2U : 0U),
                                 .bytesPerPacket = 4,
                                 .framesPerPacket = 1,
                                 .bytesPerFrame = 4,
                                 .channelsPerFrame = 2,
                                 .bitsPerChannel = 16};
    InSequence order;
    EXPECT_CALL(units, wrap);
    EXPECT_CALL(*scripted.wrapper, setInputEnabled(true));
    EXPECT_CALL(*scripted.wrapper, setOutputEnabled(false));
    EXPECT_CALL(units, initialize(ScriptedUnit::instance));
    EXPECT_CALL(scripted.inputBus[1], format);
    EXPECT_CALL(scripted.outputBus[1], setFormat(client));
    EXPECT_CALL(*scripted.wrapper, renderOperation);
    EXPECT_CALL(files, create("a folder/take.wav", 0x52463634, data, nullptr, ConvertingFile::ExistingFile::erase, _));
    EXPECT_CALL(files, setClientDataFormat(_, client.description()));
    EXPECT_CALL(files, prime).WillOnce(Return(status::badParameter));
    EXPECT_CALL(*scripted.wrapper, setInputHandler);
    EXPECT_CALL(units, start(ScriptedUnit::instance));
    record->start();
  }
}

TEST_F(AORecordTest, EverySliceGoesToTheFileWhateverBecomesOfIt) {
  record->start();
  for (const Status status : {status::success, status::overrun, status::success}) {
    files.writeStatus = status;
    scripted.deliver(3);
  }
  scripted.deliver(1);
  const ScriptedConvertingFile::Write slice{1, {{1, 2, 3}, {-1, -2, -3}}};
  EXPECT_EQ(files.writes, (std::vector{slice, slice, slice, {1, {{1}, {-1}}}}));
}

TEST_F(AORecordTest, SecondStartMakesItsFileBeforeTheFirstIsDone) {
  record->start();
  for (const bool running : {false, true}) {
    EXPECT_CALL(units, isRunning).WillOnce(Return(running));
    InSequence order;
    if (running) {
      EXPECT_CALL(units, stop).WillOnce([&](auto) {
        EXPECT_EQ(takesASlice(), 2) << "the unit calls the earlier closure until it has stopped";
        return status::success;
      });
    }
    EXPECT_CALL(units, initialize);
    EXPECT_CALL(files, create);
    EXPECT_CALL(files, prime);
    EXPECT_CALL(files, dispose(running ? kSecond : kFirst));
    EXPECT_CALL(units, start);
    record->start();
    EXPECT_EQ(takesASlice(), running ? 3 : 2);
    testing::Mock::VerifyAndClearExpectations(&units);
    testing::Mock::VerifyAndClearExpectations(&files);
  }
}

TEST_F(AORecordTest, FailedStartKeepsTheFileThatThereWas) {
  const struct {
    std::string reason;
    std::function<void()> script;
    int left;  ///< The file that takes one more slice.
  } rows[] = {
      {"UnitService::stop failed: -13",
       [&] {
         EXPECT_CALL(units, isRunning).WillOnce(Return(true));
         EXPECT_CALL(units, stop).WillOnce(Return(-13));
       },
       1},
      {"UnitService::initialize failed: -10", [&] { EXPECT_CALL(units, initialize).WillOnce(Return(-10)); }, 1},
      {"setInputClientFormat failed: no such rate",
       [&] {
         EXPECT_CALL(scripted.outputBus[1], setFormat)
             .WillOnce(Return(PlatformError(-8, "UnitBus::setFormat", "no such rate")));
         EXPECT_CALL(files, create).Times(0);
       },
       1},
      {"ConvertingFile::create failed: -2",
       [&] {
         EXPECT_CALL(files, create).WillOnce(Return(-2));
         EXPECT_CALL(files, dispose).Times(0);
       },
       1},
      {"ConvertingFile setting client format failed: -8",
       [&] {
         EXPECT_CALL(files, setClientDataFormat(kSecond, _)).WillOnce(Return(-8));
         EXPECT_CALL(files, prime).Times(0);
         EXPECT_CALL(files, dispose(kSecond));
       },
       1},
      {"UnitService::start failed: -15", [&] { EXPECT_CALL(units, start).WillOnce(Return(-15)); }, 3},
  };
  record->start();
  for (const auto& row : rows) {
    if (row.left == 1) EXPECT_CALL(units, start).Times(0);
    row.script();
    EXPECT_EQ(reasonOf([&] { record->start(); }), row.reason);
    EXPECT_EQ(takesASlice(), row.left) << row.reason;
    testing::Mock::VerifyAndClearExpectations(&units);
    testing::Mock::VerifyAndClearExpectations(&files);
    testing::Mock::VerifyAndClearExpectations(&scripted.outputBus[1]);
  }
}

TEST_F(AORecordTest, TheFileIsDoneWhenTheUnitIsGone) {
  record->start();
  EXPECT_CALL(files, dispose).Times(0);
  record->stop();
  testing::Mock::VerifyAndClearExpectations(&files);
  InSequence order;
  EXPECT_CALL(units, dispose).WillOnce([&](auto) { EXPECT_EQ(takesASlice(), 1); });
  EXPECT_CALL(files, dispose(kFirst));
  record.reset();
}

using AORecordDeathTest = AORecordTest;

TEST_F(AORecordDeathTest, RenderFailureAndAFileThatCannotBeDoneEndTheProcess) {
  record->start();
  scripted.renderStatus = -10;
  EXPECT_EXIT(scripted.deliver(3), testing::KilledBySignal(SIGABRT), "^Error -10 while rendering in IORecord\n");
  EXPECT_EXIT(
      {
        ON_CALL(files, dispose).WillByDefault(Return(-17));
        record.reset();
      },
      testing::KilledBySignal(SIGABRT), "ConvertingFile::dispose failed: -17");
}

}  // namespace
}  // namespace orvane::test
