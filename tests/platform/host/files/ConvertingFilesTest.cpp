// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/ConvertingFile.h"
#include "platform/RealTime.h"
#include "platform/host/Host.h"
#include "tests/support/UnitRig.h"

namespace orvane::test {
namespace {

using namespace platform;
using Handle = ConvertingFile::Handle;
using ExistingFile = ConvertingFile::ExistingFile;
using Samples = std::vector<float>;
using Planes = std::vector<Samples>;

StreamFormat int16(double rate, std::uint32_t channels) {
  return StreamFormat::linearPcm(rate, channels, 16, format_flag::signedInteger, true);
}

/// Tests of the file service of a separate host. In simulated time (fast pace) background tasks run only while a caller
/// waits; these tests never wait, so nothing is written in the background.
class ConvertingFilesTest : public testing::Test, protected UnitRig {
 protected:
  explicit ConvertingFilesTest(const std::string& options = "pace=fast")
      : UnitRig(options + ",scenario=" + written("{}")) {}

  static std::string written(const std::string& scenario) {
    static const TemporaryFolder folder;
    std::ofstream(folder.file("scenario.json")) << scenario;
    return folder.file("scenario.json");
  }

  struct Wanted {
    std::string path;
    StreamFormat format = int16(48000, 2);
    std::uint32_t type = ConvertingFile::nativeContainer;
    const ChannelLayout* layout = nullptr;
    ExistingFile existing = ExistingFile::erase;
  };
  static Status create(const Wanted& wanted, Handle& file, ConvertingFile& by) {
    return by.create(wanted.path, wanted.type, wanted.format.description(), wanted.layout, wanted.existing, file);
  }
  Status create(const Wanted& wanted, Handle& file) { return create(wanted, file, files); }

  /// Creates a file of `channels` channels and sets its client format. Returns the handle.
  Handle make(const std::string& path, std::uint32_t channels, double rate = 48000) {
    Handle file{};
    EXPECT_EQ(create({path, int16(rate, channels)}, file), 0);
    EXPECT_EQ(files.setClientDataFormat(file, StreamFormat::standard(rate, channels).description()), 0);
    return file;
  }

  Status write(Handle file, const Planes& planes) {
    PX::BufferList list(static_cast<std::uint32_t>(planes.size()));
    const auto frames = static_cast<std::uint32_t>(planes[0].size());
    for (std::size_t i = 0; i < planes.size(); ++i) list[i] = {1, frames * 4, const_cast<float*>(planes[i].data())};
    const RealTimeSection section;
    return files.writeAsync(file, frames, &list.GetAudioBufferList());
  }

  const std::string scenario = written("{}");
  TemporaryFolder folder;
  ConvertingFile& files = *host.convertingFiles;
};

TEST_F(ConvertingFilesTest, WhatCannotBeMadeIsRefusedAndHarmsNothing) {
  const std::string old = folder.file("old.wav");
  writeSound(old, {.samples = {0.25F}});
  std::filesystem::create_directory(folder.file("folder"));
  std::filesystem::create_symlink("nowhere/at/all", folder.file("dangling"));
  ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
  Handle file{};
  // Root may write any file, so the process runs as another user for this check.
  chmod(folder.path().c_str(), 0755);
  const uid_t user = geteuid();
  ASSERT_EQ(chmod(old.c_str(), 0444) + seteuid(user == 0 ? 65534 : user), 0);
  EXPECT_EQ(create({old}, file), status::noPermission);
  ASSERT_EQ(seteuid(user) + chmod(old.c_str(), 0644), 0);
  const ChannelLayout layout{.tag = ChannelLayout::discreteInOrder | 2, .bitmap = 0, .descriptions = {}};
  std::vector<std::pair<Wanted, Status>> rows = {
      {{""}, status::notFound},
      {{folder.file("missing/take.wav")}, status::notFound},
      {{old + "/take.wav"}, status::notFound},
      {{folder.file("dangling")}, status::notFound},
      {{folder.file("folder")}, status::notRegularFile},
      {{folder.file("pipe")}, status::notRegularFile},
      {{.path = old, .existing = ExistingFile::refuse}, status::noPermission},
      {{.path = old, .type = 0x57415645}, status::unsupportedType},
      {{.path = old, .layout = &layout}, status::unsupportedFormat},
      {{old, StreamFormat::standard(48000, 2)}, status::unsupportedFormat},
      {{old, StreamFormat::linearPcm(48000, 2, 16, format_flag::signedInteger, false)}, status::unsupportedFormat}};
  const std::pair<double, std::uint32_t> shapes[] = {{48000, 0},   {48000, 257}, {0, 2},
                                                     {44100.5, 2}, {6144001, 2}, {std::nan(""), 2}};
  for (const auto& [rate, channels] : shapes) rows.push_back({{old, int16(rate, channels)}, status::unsupportedFormat});
  for (const auto& [wanted, refusal] : rows) {
    SCOPED_TRACE(wanted.path + ": " + std::to_string(wanted.format.sampleRate()));
    file = Handle{9};
    log.clear();
    EXPECT_EQ(create(wanted, file), refusal) << log;
    EXPECT_EQ(file, Handle::none);
    EXPECT_THAT(log, HasSubstr("ConvertingFile::create failed: \"" + wanted.path + "\""));
    EXPECT_EQ(readSound(old).samples, Samples{0.25F});
  }
  EXPECT_THAT(host.fileReport->writtenFiles(), IsEmpty());

  // A lock as another process that writes the file would hold it.
  const int other = open(old.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(other, LOCK_EX), 0);
  EXPECT_EQ(create({old}, file), status::noPermission);
  EXPECT_THAT(log, HasSubstr("is in use by another program"));
  EXPECT_EQ(readSound(old).samples, Samples{0.25F});
  close(other);

  for (int open = 0; open < 256; ++open) make(folder.file(std::to_string(open)), 1, 8000);
  EXPECT_EQ(create({folder.file("one too many")}, file), status::ioFailure);
  EXPECT_THAT(log, HasSubstr("one too many\": too many recordings are open"));
  EXPECT_FALSE(std::filesystem::exists(folder.file("one too many")));
}

TEST_F(ConvertingFilesTest, AFileTakesItsOwnFormatAndNothingElse) {
  const Planes slice{{1, 1}, {-1, -1}};
  Handle file{};
  ASSERT_EQ(create({.path = folder.file("take.wav"), .existing = ExistingFile::refuse}, file), 0);
  EXPECT_EQ(write(file, slice), status::wrongState) << "before the client format was set";
  for (const StreamFormat& format :
       {StreamFormat::standard(44100, 2), StreamFormat::standard(48000, 1), int16(48000, 2)})
    EXPECT_EQ(files.setClientDataFormat(file, format.description()), status::unsupportedFormat);
  ASSERT_EQ(files.setClientDataFormat(file, StreamFormat::standard(48000, 2).description()), 0);
  EXPECT_EQ(files.writeAsync(file, 0, nullptr), 0);
  EXPECT_EQ(files.writeAsync(file, 1, nullptr), status::badParameter);
  EXPECT_EQ(write(file, {{1, 1}}), status::badParameter) << "a channel is missing";
  EXPECT_EQ(write(file, slice), 0);
  EXPECT_EQ(files.dispose(file), 0);
  for (const Handle none : {file, Handle::none, Handle{77}}) {
    EXPECT_EQ(write(none, slice), status::badParameter);
    EXPECT_EQ(files.setClientDataFormat(none, {}), status::badParameter);
    EXPECT_EQ(files.dispose(none), status::badParameter);
  }
  EXPECT_EQ(readSound(folder.file("take.wav")).samples, (Samples{32767 / 32768.0F, -1, 32767 / 32768.0F, -1}));
}

TEST_F(ConvertingFilesTest, AFileIsWrittenThroughItsLatestHandleAlone) {
  const std::string path = folder.file("take.wav");
  const Handle first = make(path, 1);
  std::filesystem::create_symlink(path, folder.file("link"));
  std::filesystem::create_hard_link(path, folder.file("twin"));
  write(first, {Samples(20'000, 0.25F)});
  Handle latest = first;
  for (const std::string& name : {path, folder.file("link"), folder.file("twin"),
                                  folder.file("../") + folder.path().filename().string() + "/take.wav"}) {
    const Handle earlier = std::exchange(latest, make(name, 2));
    EXPECT_EQ(write(earlier, Planes(earlier == first ? 1 : 2, {0.75F})), 0) << "goes nowhere";
    write(latest, {{0.5F, 0.5F}, {-0.5F, -0.5F}});
    EXPECT_EQ(readSound(path).samples, earlier == first ? Samples(20'000, 0.25F) : (Samples{0.5F, -0.5F, 0.5F, -0.5F}))
        << "the earlier recording stays until the caller waits or disposes";
    EXPECT_EQ(files.dispose(earlier), 0);
  }
  // A new file at the path of a removed one is a different file. The recording to the removed file continues; its other
  // hard link still leads to it.
  std::filesystem::remove(path);
  const Handle other = make(path, 1);
  EXPECT_EQ(readSound(path).samples, Samples{});
  write(latest, {{0.125F}, {0}});
  EXPECT_EQ(files.dispose(other), 0);
  EXPECT_EQ(files.dispose(latest), 0);
  EXPECT_EQ(readSound(folder.file("twin")).samples, (Samples{0.5F, -0.5F, 0.5F, -0.5F, 0.125F, 0}));
}

/// A scope guard that limits the size, in bytes, of the files that this process writes.
struct FileSizeLimit {
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{.rlim_cur = bytes, .rlim_max = before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before); }
  rlimit before{};
};

TEST_F(ConvertingFilesTest, WhatWasThereStaysUntilSoundIsWritten) {
  const std::string path = folder.file("take.wav");
  std::filesystem::create_symlink(path, folder.file("link"));
  const auto content = [&] { return std::filesystem::exists(path) ? readFile(path) : "none"; };
  for (const std::string before : {"none", "", "an old recording"}) {
    SCOPED_TRACE(before);
    const auto restore = [&] {
      std::filesystem::remove(path);
      if (before != "none") std::ofstream(path) << before;
    };
    restore();
    const Handle first = make(path, 1);
    EXPECT_EQ(content() == before, before == "an old recording") << "a file without content is a WAVE file at once";
    const Handle last = make(folder.file("link"), 2);
    waiter->wait(1s);
    EXPECT_EQ(files.dispose(last), 0);
    EXPECT_EQ(content(), before) << "no sound came, and no device ran";
    EXPECT_EQ(files.dispose(first), 0);
    EXPECT_EQ(content(), before);

    // First the disk has too little space for the headers, then enough for the headers but not for a frame.
    Handle file{};
    {
      const FileSizeLimit limit(50);
      const bool isKnown = before != "an old recording";
      EXPECT_EQ(create({path, int16(48000, 1)}, file), isKnown ? status::ioFailure : 0) << log;
      EXPECT_EQ(content(), before);
      files.dispose(file);
    }
    file = make(path, 1);
    const FileSizeLimit limit(81);
    write(file, {{0.5F, 0.5F}});
    EXPECT_EQ(files.dispose(file), 0);
    EXPECT_TRUE(content() == before || before == "an old recording");
    EXPECT_EQ(host.fileReport->writeFailure()->status, status::ioFailure);
  }
  EXPECT_THAT(host.fileReport->writtenFiles(), IsEmpty());
}

TEST_F(ConvertingFilesTest, AnOldFileThatCannotBeTruncatedStaysWhole) {
  const int sealed = memfd_create("old", MFD_ALLOW_SEALING | MFD_CLOEXEC);
  const std::string old = "/proc/self/fd/" + std::to_string(sealed);
  writeSound(old, {.rate = 44100, .samples = Samples(3000, 0.25F)});
  ASSERT_EQ(fcntl(sealed, F_ADD_SEALS, F_SEAL_SHRINK), 0);
  const Handle file = make(old, 1);
  write(file, {Samples(100)});
  EXPECT_EQ(files.dispose(file), 0);
  EXPECT_EQ(host.fileReport->writeFailure().value_or(Failure{}).status, status::noPermission);
  const auto late = control.onWriteFailure([&] { waiter->signal(); });
  EXPECT_TRUE(waiter->wait(1s)) << "told however late somebody asks";
  EXPECT_THAT(host.fileReport->writtenFiles(), IsEmpty());
  EXPECT_EQ(readSound(old).rate, 44100);
  EXPECT_EQ(readSound(old).samples, Samples(3000, 0.25F));
  close(sealed);
}

TEST_F(ConvertingFilesTest, ARefusedDisposeHoldsNothingWhenTheHostGoes) {
  const auto context = std::make_shared<orvane::host::HostContext>(orvane::host::HostContext::Pace::fast);
  const orvane::host::Refusal no{-3, "no"};
  {
    const Platform services = orvane::host::makeHost(context, {"silent", nullptr, nullptr});
    Handle file{};
    ASSERT_EQ(create({folder.file("take.wav")}, file, *services.convertingFiles), 0);
    context->gate->setDecision(
        [&](std::string_view call) { return call == "ConvertingFile::dispose" ? &no : nullptr; });
    EXPECT_EQ(services.convertingFiles->dispose(file), -3);
  }
  EXPECT_EQ(context.use_count(), 1) << "a writer that is left over holds the context";
}

TEST_F(ConvertingFilesTest, WhatTheHostReadsIsNotOverwritten) {
  std::filesystem::create_hard_link(scenario, folder.file("twin"));
  Handle file{};
  EXPECT_EQ(create({folder.file("twin")}, file), status::noPermission);
  EXPECT_THAT(log, HasSubstr("twin\" is the scenario of this run"));
  const int other = open(scenario.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), -1) << "nor by another process";
  EXPECT_EQ(flock(other, LOCK_SH | LOCK_NB), 0) << "which may read it";
  close(other);
  EXPECT_EQ(readFile(scenario), "{}");
}

TEST_F(ConvertingFilesTest, AWriterThatIsTwoSecondsBehindDropsWholeSlicesAndCountsThem) {
  const Handle file = make(folder.file("take.wav"), 2, 44100);
  const Planes slice(2, Samples(441, 0.5F));
  for (int i = 0; i < 200; ++i) ASSERT_EQ(write(file, slice), 0) << i;
  for (int i = 0; i < 30; ++i) ASSERT_EQ(write(file, slice), status::overrun);
  EXPECT_FALSE(waiter->wait(201ms));
  EXPECT_THAT(log, HasSubstr("30 slices dropped"));
  EXPECT_EQ(report.runCount().overruns, 30U);
  EXPECT_EQ(readSound(folder.file("take.wav")).samples.size(), 200 * 441 * 2U) << "the open file is readable";
  for (int i = 0; i < 200; ++i) ASSERT_EQ(write(file, slice), 0);
  EXPECT_EQ(files.dispose(file), 0);
  EXPECT_EQ(readSound(folder.file("take.wav")).samples, Samples(400 * 441 * 2, 0.5F));
}

/// The same tests' fixture in real time (real pace), where each file is written on its own thread.
struct RunningConvertingFilesTest : ConvertingFilesTest {
  RunningConvertingFilesTest() : ConvertingFilesTest("pace=real") {}
};

TEST_F(RunningConvertingFilesTest, ANoticeOfAFailedWriteMayDisposeTheFile) {
  const Handle file = make(folder.file("take.wav"), 1);
  const FileSizeLimit limit(100);
  const auto notice = control.onWriteFailure([&] {
    EXPECT_EQ(files.dispose(file), 0);
    waiter->signal();
  });
  write(file, {Samples(4000)});
  EXPECT_TRUE(waiter->wait(10s));
}

TEST_F(RunningConvertingFilesTest, AFileChangesHandsWhileItIsWritten) {
  const std::string path = folder.file("take.wav");
  std::atomic<bool> done = false;
  Handle file = make(path, 2);
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> written = 0;
    std::thread callback([&, file] {
      const Planes slice(2, Samples(64, static_cast<float>(round) / 32));
      for (done = false; !done; ++written) write(file, slice);
    });
    while (written < 50) std::this_thread::yield();
    const Handle next = make(path, 2);
    done = true;
    callback.join();
    EXPECT_EQ(files.dispose(std::exchange(file, next)), 0);
  }
  write(file, {{0.5F}, {0.5F}});
  EXPECT_EQ(files.dispose(file), 0);
  EXPECT_EQ(readSound(path).samples, (Samples{0.5F, 0.5F}));
}

}  // namespace
}  // namespace orvane::test
