#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <thread>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/ConvertingFile.h"
#include "platform/Hosts.h"
#include "platform/Log.h"
#include "platform/RealTime.h"
#include "platform/Report.h"
#include "platform/Scheduler.h"
#include "platform/StreamFormat.h"
#include "platform/host/SoundFileWriter.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane::test {
namespace {

using namespace platform;
using namespace std::chrono_literals;
using testing::HasSubstr;
using Handle = ConvertingFile::Handle;
using ExistingFile = ConvertingFile::ExistingFile;
using Planes = std::vector<std::vector<float>>;

StreamFormat int16(double rate, std::uint32_t channels) {
  return StreamFormat::linearPcm(rate, channels, 16, format_flag::signedInteger, true);
}

std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The samples of a file of 16 bits, interleaved; nothing where it is no such file.
std::vector<std::int16_t> samplesOf(const std::string& path) {
  SF_INFO info{};
  SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
  if (file == nullptr) return {};
  EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16);
  std::vector<std::int16_t> samples(static_cast<std::size_t>(info.frames * info.channels));
  sf_read_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
  sf_close(file);
  return samples;
}

/// While it lives, no file grows beyond `bytes`.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &mBefore);
    const rlimit small{.rlim_cur = bytes, .rlim_max = mBefore.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &mBefore); }

 private:
  rlimit mBefore{};
};

/// The converting files of a host of their own. At fast pace nothing is written by itself: the caller never waits.
class ConvertingFilesTest : public testing::Test {
 protected:
  explicit ConvertingFilesTest(const std::string& options = "pace=fast") : host(makeSimulatedHost(options)) {
    host.log->setSink([this](LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
  }

  /// A file that takes `channels` channels of sound.
  Handle make(const std::string& path, std::uint32_t channels, double rate = 48000) {
    Handle file{};
    EXPECT_EQ(files.create(path, ConvertingFile::nativeContainer, int16(rate, channels).description(), nullptr,
                           ExistingFile::erase, file),
              0);
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

  TemporaryFolder folder;
  std::string log;
  Platform host;
  ConvertingFile& files = *host.convertingFiles;
};

TEST_F(ConvertingFilesTest, SamplesAreRoundedToTheNearestStepAndHeldAtFullScale) {
  std::vector<float> sounds;
  for (int step = -32768; step <= 32767; ++step) sounds.push_back(static_cast<float>(step) / 32768.0F);
  std::mt19937 random(4);
  for (int i = 0; i < 30'000; ++i) sounds.push_back(std::uniform_real_distribution<float>(-1.2F, 1.2F)(random));
  for (const float odd : {1.0F, 0.99999F, 1e30F, -1e30F, 1e-30F, std::numeric_limits<float>::infinity(),
                          -std::numeric_limits<float>::infinity(), std::nanf(""), 0.5F / 32768, 1.5F / 32768,
                          -0.5F / 32768, -1.5F / 32768, 32767.5F / 32768, -32768.5F / 32768}) {
    sounds.push_back(odd);
  }
  const auto expected = [](float sound) {
    if (std::isnan(sound)) return 0L;
    return std::lrint(std::min(std::max(static_cast<double>(sound) * 32768, -32768.0), 32767.0));
  };
  for (const std::uint32_t channels : {1U, 2U, 3U, 8U}) {
    const std::string path = folder.file(std::to_string(channels));
    const Handle file = make(path, channels);
    const std::size_t frames = sounds.size() / channels;
    Planes planes(channels);
    for (std::size_t i = 0; i < frames * channels; ++i) planes[i % channels].push_back(sounds[i]);
    ASSERT_EQ(write(file, planes), 0);
    ASSERT_EQ(files.dispose(file), 0);
    const std::vector<std::int16_t> samples = samplesOf(path);
    ASSERT_EQ(samples.size(), frames * channels);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      ASSERT_EQ(samples[i], expected(sounds[i])) << sounds[i] << ", " << channels << " channels";
    }
    EXPECT_EQ(host.report->writtenFile()->frames, frames);
  }
}

TEST_F(ConvertingFilesTest, WhatCannotBeMadeIsRefusedAndHarmsNothing) {
  const std::string old = folder.file("old.wav");
  std::ofstream(old) << "what was there";
  std::filesystem::create_directory(folder.file("folder"));
  std::filesystem::create_symlink("nowhere/at/all", folder.file("dangling"));
  ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
  const StreamDescription right = int16(48000, 2).description();
  const ChannelLayout layout{.tag = ChannelLayout::discreteInOrder | 2, .bitmap = 0, .descriptions = {}};
  const struct {
    std::string path;
    StreamDescription format;
    Status refusal;
    std::uint32_t type = ConvertingFile::nativeContainer;
    const ChannelLayout* layout = nullptr;
    ExistingFile existing = ExistingFile::erase;
  } rows[] = {
      {"", right, status::notFound},
      {folder.file("missing/take.wav"), right, status::notFound},
      {old + "/take.wav", right, status::notFound},
      {folder.file("dangling"), right, status::notFound},
      {folder.file("folder"), right, status::notRegularFile},
      {folder.file("pipe"), right, status::notRegularFile},
      {"/dev/null", right, status::notRegularFile},
      {old, right, status::noPermission, ConvertingFile::nativeContainer, nullptr, ExistingFile::refuse},
      {old, right, status::unsupportedType, 0x57415645},
      {old, right, status::unsupportedFormat, ConvertingFile::nativeContainer, &layout},
      {old, StreamFormat::standard(48000, 2).description(), status::unsupportedFormat},
      {old, int16(48000, 0).description(), status::unsupportedFormat},
      {old, int16(48000, 257).description(), status::unsupportedFormat},
      {old, int16(0, 2).description(), status::unsupportedFormat},
      {old, int16(44100.5, 2).description(), status::unsupportedFormat},
      {old, int16(6144001, 2).description(), status::unsupportedFormat},
      {old, int16(std::nan(""), 2).description(), status::unsupportedFormat},
      {old, StreamFormat::linearPcm(48000, 2, 16, format_flag::signedInteger, false).description(),
       status::unsupportedFormat},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path + ": " + std::to_string(row.refusal) + " " + std::to_string(row.format.sampleRate));
    Handle file{9};
    log.clear();
    EXPECT_EQ(files.create(row.path, row.type, row.format, row.layout, row.existing, file), row.refusal) << log;
    EXPECT_EQ(file, Handle::none);
    EXPECT_THAT(log, HasSubstr("A recording cannot be made: \"" + row.path + "\""));
    EXPECT_EQ(bytesOf(old), "what was there");
  }
  EXPECT_FALSE(host.report->writtenFile().has_value());

  // A file that its user may not write. Root may write any, so it becomes somebody else for a moment.
  chmod(old.c_str(), 0444);
  chmod(folder.path().c_str(), 0755);
  const uid_t user = geteuid();
  ASSERT_EQ(seteuid(user == 0 ? 65534 : user), 0);
  Handle file{};
  EXPECT_EQ(files.create(old, ConvertingFile::nativeContainer, right, nullptr, ExistingFile::erase, file),
            status::noPermission);
  ASSERT_EQ(seteuid(user), 0);
  EXPECT_EQ(bytesOf(old), "what was there");
}

TEST_F(ConvertingFilesTest, AFileTakesItsOwnFormatAndNothingElse) {
  const Planes slice{{1, 1}, {-1, -1}};
  Handle file{};
  ASSERT_EQ(files.create(folder.file("take.wav"), ConvertingFile::nativeContainer, int16(48000, 2).description(),
                         nullptr, ExistingFile::refuse, file),
            0);
  EXPECT_EQ(write(file, slice), status::wrongState) << "before the client format was set";
  for (const StreamFormat& format :
       {StreamFormat::standard(44100, 2), StreamFormat::standard(48000, 1), int16(48000, 2)}) {
    EXPECT_EQ(files.setClientDataFormat(file, format.description()), status::unsupportedFormat);
  }
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
  EXPECT_EQ(samplesOf(folder.file("take.wav")), (std::vector<std::int16_t>{32767, -32768, 32767, -32768}));
}

TEST_F(ConvertingFilesTest, AFileIsWrittenThroughItsLatestHandleAlone) {
  const std::string path = folder.file("take.wav");
  const Handle first = make(path, 1);
  std::filesystem::create_symlink(path, folder.file("link"));
  std::filesystem::create_hard_link(path, folder.file("twin"));
  write(first, {std::vector<float>(20'000, 0.25F)});
  Handle latest = first;
  for (const std::string& name : {path, folder.file("link"), folder.file("twin"),
                                  folder.file("../") + folder.path().filename().string() + "/take.wav"}) {
    const Handle earlier = std::exchange(latest, make(name, 2));
    EXPECT_EQ(write(earlier, Planes(earlier == first ? 1 : 2, {0.75F})), 0) << "goes nowhere";
    write(latest, {{0.5F, 0.5F}, {-0.5F, -0.5F}});
    EXPECT_EQ(files.dispose(earlier), 0);
    EXPECT_THAT(samplesOf(path), testing::IsEmpty()) << "nothing is written before the caller waits or disposes";
  }
  // Another file at the same path is another file: the old one goes on without its name.
  std::filesystem::remove(path);
  const Handle other = make(path, 1);
  write(latest, {{0.125F}, {0}});
  EXPECT_EQ(files.dispose(other), 0);
  EXPECT_EQ(files.dispose(latest), 0);
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(samplesOf(folder.file("twin")), (std::vector<std::int16_t>{16384, -16384, 16384, -16384, 4096, 0}));
  EXPECT_FALSE(host.report->writeFailure().has_value());
}

TEST_F(ConvertingFilesTest, TheDevicesOwnFilesAreNotErased) {
  const std::string microphone = folder.file("mic.wav");
  files.dispose(make(microphone, 1));
  const std::string before = bytesOf(microphone);
  const Platform other = makeSimulatedHost("pace=fast,mic=" + microphone);
  Handle file{};
  EXPECT_EQ(other.convertingFiles->create(microphone, ConvertingFile::nativeContainer, int16(48000, 1).description(),
                                          nullptr, ExistingFile::erase, file),
            status::noPermission);
  EXPECT_EQ(bytesOf(microphone), before);

  const std::string shared = folder.file("shared.wav");
  const Handle recording = make(shared, 2);
  orvane::host::SoundFileWriter::Services services{.scheduler = host.scheduler, .log = host.log, .failures = nullptr};
  Failure failure;
  EXPECT_EQ(
      orvane::host::SoundFileWriter::create(shared, {SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, 2}, 64, services, failure),
      nullptr);
  EXPECT_THAT(failure.reason, HasSubstr("is being written as another file of this run"));
  EXPECT_EQ(files.dispose(recording), 0);
}

TEST_F(ConvertingFilesTest, AWriterThatIsTwoSecondsBehindDropsWholeSlicesAndCountsThem) {
  const Handle file = make(folder.file("take.wav"), 2, 44100);
  const Planes slice(2, std::vector<float>(441, 0.5F));
  for (int i = 0; i < 200; ++i) ASSERT_EQ(write(file, slice), 0) << i;
  for (int i = 0; i < 30; ++i) ASSERT_EQ(write(file, slice), status::overrun);
  EXPECT_FALSE(host.scheduler->makeWaiter()->wait(201ms));
  EXPECT_THAT(log, HasSubstr("30 slices were lost"));
  EXPECT_EQ(samplesOf(folder.file("take.wav")).size(), 200 * 441 * 2U) << "the open file is readable";
  for (int i = 0; i < 200; ++i) ASSERT_EQ(write(file, slice), 0);
  EXPECT_EQ(files.dispose(file), 0);
  EXPECT_EQ(samplesOf(folder.file("take.wav")), std::vector<std::int16_t>(400 * 441 * 2, 16384));
}

TEST_F(ConvertingFilesTest, AFileThatMayNotGrowEndsWithItsLastWholeFrame) {
  const std::string path = folder.file("take.wav");
  files.dispose(make(path, 3));
  const std::uintmax_t header = std::filesystem::file_size(path);
  for (const rlim_t most : {10'000U, 10'003U, 10'005U}) {
    const Handle file = make(path, 3);
    write(file, Planes(3, std::vector<float>(4000)));
    {
      const FileSizeLimit limit(most);
      EXPECT_EQ(files.dispose(file), 0) << "a write that failed is no failure of this call";
    }
    const std::uintmax_t frames = (most - header) / 6;
    EXPECT_EQ(std::filesystem::file_size(path), header + frames * 6);
    EXPECT_EQ(samplesOf(path).size(), frames * 3);
    EXPECT_EQ(host.report->writtenFile()->frames, frames);
  }
  EXPECT_EQ(host.report->writeFailure()->reason, "\"" + path + "\": File too large");
}

/// At real pace, where files are written on threads of their own.
class RunningConvertingFilesTest : public ConvertingFilesTest {
 protected:
  RunningConvertingFilesTest() : ConvertingFilesTest("pace=real") {}
};

TEST_F(RunningConvertingFilesTest, ANoticeOfAFailedWriteMayDisposeTheFile) {
  const Handle file = make(folder.file("take.wav"), 1);
  const FileSizeLimit limit(100);
  const auto disposed = host.scheduler->makeWaiter();
  host.report->onWriteFailure([&] {
    EXPECT_EQ(files.dispose(file), 0);
    disposed->signal();
  });
  write(file, {std::vector<float>(4000)});
  EXPECT_TRUE(disposed->wait(10s));
}

TEST_F(RunningConvertingFilesTest, AFileChangesHandsWhileItIsWritten) {
  const std::string path = folder.file("take.wav");
  std::atomic<bool> done = false;
  Handle file = make(path, 2);
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> written = 0;
    std::thread callback([&, file] {
      const Planes slice(2, std::vector<float>(64, static_cast<float>(round) / 32));
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
  EXPECT_EQ(samplesOf(path), (std::vector<std::int16_t>{16384, 16384}));
}

}  // namespace
}  // namespace orvane::test
