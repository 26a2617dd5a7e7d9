// SPDX-License-Identifier: MIT
#include <sys/resource.h>

#include <csignal>
#include <fstream>

#include "Pexutil/Source/Utility/PXAudioFileFormats.h"
#include "platform/DeviceReport.h"
#include "platform/FileReport.h"
#include "platform/Hosts.h"
#include "platform/Log.h"
#include "platform/StreamFormat.h"
#include "platform/host/convert/PacketCodec.h"
#include "platform/host/files/PcmHeader.h"
#include "tests/support/PacketFiles.h"
#include "tests/support/Shell.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane::test {
namespace {

using namespace platform;
using Property = SoundFileProperty;
namespace type = sound_file_type;

StreamDescription int16(std::uint32_t channels, double rate = 48000) {
  return StreamFormat::linearPcm(rate, channels, 16, format_flag::signedInteger, true).description();
}

/// Returns `frames` frames of 16-bit noise.
Packets noise(std::uint32_t channels, std::size_t frames) {
  return {int16(channels), {}, randomBytes(frames * channels * 2), {}};
}

/// Returns noise that a codec encoded.
Packets encoded(const StreamDescription& format, std::size_t frames) {
  auto encoder = host::makeEncoder(format);
  host::PlanarFifo input(format.channelsPerFrame);
  std::mt19937 random(1);
  for (float* const plane : input.room(frames))
    std::generate_n(plane, frames, [&] { return static_cast<float>(random() % 4096) / 65536; });
  input.commit(frames);
  std::deque<host::EncodedPacket> made;
  EXPECT_FALSE((*encoder)->encode(input, made) || (*encoder)->finish(made));
  Packets packets{(*encoder)->format(), (*encoder)->cookie(), {}, {}};
  for (const auto& [bytes, count] : made) {
    packets.descriptions.push_back(
        {static_cast<std::int64_t>(packets.bytes.size()), count, static_cast<std::uint32_t>(bytes.size())});
    packets.bytes.insert(packets.bytes.end(), bytes.begin(), bytes.end());
  }
  return packets;
}

Packets flac(std::uint32_t channels = 2, std::uint32_t bits = 16, std::size_t frames = 20'000) {
  return encoded({.sampleRate = 44100,
                  .formatID = flacFormatID,
                  .framesPerPacket = 1152,
                  .channelsPerFrame = channels,
                  .bitsPerChannel = bits},
                 frames);
}
Packets opus(std::uint32_t channels = 2, std::size_t frames = 20'000) {
  return encoded({.sampleRate = 48000, .formatID = opusFormatID, .channelsPerFrame = channels}, frames);
}

class SoundFiles : public testing::Test {
 protected:
  SoundFiles() {
    services.log->setSink([this](LogLevel, std::string_view line) { log += std::string(line) + "\n"; });
  }

  void expectSame(const Packets& packets, const std::string& at) {
    Packets read;
    for (const std::uint32_t atOnce : {1U, 777U}) {
      ASSERT_EQ(readFile(files, at, read, atOnce), 0) << services.deviceReport->lastRefusal()->reason;
      EXPECT_TRUE(read.bytes == packets.bytes && read.descriptions == packets.descriptions);
      EXPECT_TRUE(read.format == packets.format && read.cookie == packets.cookie);
    }
  }
  SoundFile create(const std::string& at, std::uint32_t fileType, const StreamDescription& format) {
    SoundFile file{};
    EXPECT_EQ(files.create(at, fileType, format, file), 0);
    return file;
  }
  Status setCookie(SoundFile file, const std::vector<std::byte>& cookie) {
    return files.setProperty(file, Property::magicCookie, static_cast<std::uint32_t>(cookie.size()), cookie.data());
  }

  const TemporaryFolder folder;
  const std::string path = folder.file("take");
  const Platform services = makeSimulatedHost("pace=fast");
  SoundFileService& files = *services.soundFiles;
  std::string log;
};

TEST_F(SoundFiles, OfLinearPcmHaveEveryByteAndAreReadByOtherPrograms) {
  const PXAudioFileFormats all(services, true);
  for (std::int32_t i = 0; i < all.typeCount; ++i) {
    const auto& [code, name, extensions, formatCount, formats] = all.types[static_cast<std::size_t>(i)];
    if (formats[0].formatID != linearPcmFormatID) continue;
    for (std::int32_t k = 0; k < formats[0].variantCount; ++k) {
      StreamDescription format = formats[0].variants[static_cast<std::size_t>(k)];
      format.channelsPerFrame = static_cast<std::uint32_t>(k % 4 + 1);
      format.sampleRate = 44100;
      format.bytesPerFrame = format.bytesPerPacket = format.channelsPerFrame * format.bitsPerChannel / 8;
      const Packets packets{format, {}, randomBytes(1001 * format.bytesPerFrame), {}};
      const std::string file = folder.file(std::to_string(k) + "." + extensions->front());
      SCOPED_TRACE(file);
      ASSERT_EQ(writeFile(files, file, code, packets), 0);
      expectSame(packets, file);
      SndfileHandle other(file);
      std::vector<std::byte> raw(packets.bytes.size());
      EXPECT_EQ(other.readRaw(raw.data(), static_cast<sf_count_t>(raw.size())), packets.bytes.size());
      EXPECT_EQ(other.frames(), 1001);
      EXPECT_TRUE(raw == packets.bytes && other.samplerate() == 44100);
      EXPECT_EQ(other.channels(), format.channelsPerFrame);
    }
  }
  const std::string each = "cd " + folder.path().string() + "; for f in *; do ";
  const auto written = services.fileReport->writtenFiles();
  EXPECT_EQ(written.size(), 34U);
  std::string lines;
  for (const auto& file : written) {
    lines += "1001\n";
    EXPECT_TRUE(file.frames == 1001 && file.type != type::nativeContainer);
  }
  EXPECT_EQ(outputOf(each + "soxi -s $f; done"), lines);
  const std::string notOdd = " | grep -v 'should be an even number of bytes'";
  EXPECT_EQ(outputOf(each + "sndfile-info $f" + notOdd + " | sed -n 's/^Frames *: //p;/should/p'; done"), lines);
  // This program does not know little-endian AU files.
  const std::string probe = "ffprobe -v warning -show_entries stream=duration_ts -of csv=p=0 $f";
  EXPECT_EQ(outputOf(each + "if [ $(head -c 4 $f) = dns. ]; then echo 1001; else " + probe + "; fi; done"), lines);
}

TEST_F(SoundFiles, BecomeRf64BeyondFourGibibytes) {
  for (const auto& [frames, code] :
       {std::pair(2'147'000'000ULL, type::wave), {3'000'000'000ULL, type::nativeContainer}}) {
    std::ofstream(path) << host::pcmHeader(type::wave, int16(1), frames);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) + 2 * frames);  // A sparse file.
    EXPECT_EQ(host::pcmTypeWritten(type::wave, int16(1), frames), code);
    EXPECT_EQ(outputOf("ffprobe -v error -show_entries stream=duration_ts -of csv=p=0 " + path),
              std::to_string(frames) + "\n");
    SoundFile file{};
    ASSERT_EQ(files.open(path, file), 0);
    std::byte data[2]{};
    std::uint32_t size = 2, count = 1;
    EXPECT_EQ(files.readPackets(file, size, nullptr, static_cast<std::int64_t>(frames) - 1, count, data), 0);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(files.readPackets(file, size, nullptr, static_cast<std::int64_t>(frames), count, data), 0);
    EXPECT_TRUE(count == 0 && files.close(file) == 0);
  }
}

TEST_F(SoundFiles, OfPacketsHaveEveryPacketAndAreReadByOtherPrograms) {
  for (const auto& [channels, bits] : {std::pair(1U, 8U), {2U, 16U}, {8U, 20U}, {3U, 24U}}) {
    const Packets packets = flac(channels, bits);
    ASSERT_EQ(writeFile(files, path, type::flac, packets), 0);
    expectSame(packets, path);
    EXPECT_THAT(outputOf("flac -t -w " + path), AllOf(HasSubstr(": ok"), Not(HasSubstr("WARN"))));
  }
  for (const std::uint32_t channels : {1U, 2U}) {
    for (const std::size_t frames : {std::size_t{1}, std::size_t{20'000}}) {
      const Packets packets = opus(channels, frames);
      ASSERT_EQ(writeFile(files, path, type::opus, packets), 0);
      expectSame(packets, path);
      EXPECT_THAT(outputOf("opusinfo " + path), AllOf(Not(HasSubstr("WARN")), Not(HasSubstr("ERR"))));
      EXPECT_EQ(outputOf("opusdec --quiet " + path + " " + path + ".wav; soxi -s " + path + ".wav"),
                std::to_string(frames) + "\n");
    }
  }
  const auto report = services.fileReport->writtenFiles();
  EXPECT_EQ(std::ranges::find(report, type::flac, &WrittenFile::type)->frames, 20'000U);
  EXPECT_EQ(std::ranges::find(report, type::opus, &WrittenFile::type)->frames, 1U);
}

TEST_F(SoundFiles, AreReadFromAnyPacketOn) {
  for (const auto& [code, packets] : {std::pair(type::flac, flac()), {type::opus, opus()}, {type::au, noise(2, 50)}}) {
    ASSERT_EQ(writeFile(files, path, code, packets), 0);
    SoundFile file{};
    ASSERT_EQ(files.open(path, file), 0);
    std::byte room[10'000];
    PacketDescription described[2];
    for (const std::uint32_t first : {10U, 3U, 4U, 5U, 0U, packets.count() - 1, packets.count(), 1'000'000U}) {
      std::uint32_t size = sizeof room, count = 1;
      EXPECT_EQ(files.readPackets(file, size, described, first, count, room), 0);
      EXPECT_EQ(count, first < packets.count());
      const std::size_t offset = packets.descriptions.empty() ? first * 4
                                 : count == 0                 ? 0
                                              : static_cast<std::size_t>(packets.descriptions[first].startOffset);
      EXPECT_TRUE(count == 0 || std::equal(room, room + size, packets.bytes.data() + offset));
    }
    // A buffer with room for one packet and a half, and one that is too small for any.
    for (const std::uint32_t half : {3U, 1U}) {
      std::uint32_t size = packets.descriptions.empty() ? half * 2 : packets.descriptions[0].byteSize * half / 2;
      std::uint32_t count = 2;
      EXPECT_EQ(files.readPackets(file, size, described, 0, count, room), half == 3 ? 0 : status::badParameter);
      EXPECT_EQ(count, half == 3 ? 1U : 0U);
    }
    EXPECT_EQ(files.close(file), 0);
  }
}

TEST_F(SoundFiles, ThatAreCutOrDamagedAreNeverReadAsShorterOnes) {
  Packets unfinished = flac();
  std::fill_n(unfinished.cookie.begin() + 4, 30, std::byte{});  // No length; the format is set again below.
  std::copy_n(flac().cookie.begin() + 10, 3, unfinished.cookie.begin() + 10);
  unfinished.cookie[13] = flac().cookie[13] & std::byte{0xF0};
  const Packets pcm = noise(2, 5000);
  const Packets big{StreamFormat::linearPcm(48000, 2, 8, format_flag::signedInteger, true).description(),
                    {},
                    randomBytes(10'000),
                    {}};
  const std::tuple<std::string, std::uint32_t, Packets> rows[] = {{"wave", type::wave, pcm},
                                                                  {"au", type::au, pcm},
                                                                  {"aifc", type::aifc, pcm},
                                                                  {"aiff", type::aiff, big},
                                                                  {"flac", type::flac, flac()},
                                                                  {"opus", type::opus, opus()},
                                                                  {"stream of unknown length", type::flac, unfinished}};
  for (const auto& [name, code, packets] : rows) {
    SCOPED_TRACE(name);
    ASSERT_EQ(writeFile(files, path, code, packets), 0);
    Packets read;
    ASSERT_EQ(readFile(files, path, read), 0);
    ASSERT_EQ(read.frames(), packets.frames());
    const std::string whole = readFile(path);
    // Packets of a stream without a length can be missing at the end, but no part of one.
    std::vector<std::size_t> ends;
    for (const auto& each : packets.descriptions) ends.push_back(42 + static_cast<std::size_t>(each.startOffset));
    for (std::size_t place = 42; packets.format.bytesPerPacket == 0 && place < whole.size(); place += 97) {
      std::fstream damaged(path, std::ios::in | std::ios::out);
      damaged.seekp(static_cast<std::streamoff>(place)).put(static_cast<char>(whole[place] ^ 0x10)).flush();
      EXPECT_EQ(readFile(files, path, read), status::invalidFile) << "damaged at " << place;
      damaged.seekp(static_cast<std::streamoff>(place)).put(whole[place]);
    }
    for (std::size_t size = whole.size(); size > whole.size() / 331;) {
      std::filesystem::resize_file(path, size -= 1 + whole.size() / 331);
      if (name.starts_with("stream") && (size == 42 || std::ranges::find(ends, size) != ends.end())) continue;
      const Status status = readFile(files, path, read);
      EXPECT_TRUE(status == status::invalidFile || status == status::unsupportedFormat)
          << "cut at " << size << " of " << whole.size() << ": " << status << ", " << read.frames() << " frames";
    }
  }
  for (const std::string content : {"", "RIFF", "fLaC", "OggS", "nonsense\n"}) {
    std::ofstream(path) << content;
    Packets read;
    EXPECT_EQ(readFile(files, path, read), status::invalidFile) << content;
    EXPECT_THAT(services.deviceReport->lastRefusal()->reason, HasSubstr(path));
  }
}

TEST_F(SoundFiles, OfUnusualLayoutAreReadInFullOrRefused) {
  const auto reread = [&](const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
    Packets read;
    return readFile(files, path, read);
  };
  ASSERT_EQ(writeFile(files, path, type::flac, flac()), 0);
  // A tag of 200 bytes, whose size is stored in groups of seven bits.
  EXPECT_EQ(reread(std::string("ID3\4\0\0\0\0\1\x48", 10) + std::string(200, 'x') + readFile(path)), 0);
  expectSame(flac(), path);
  ASSERT_EQ(writeFile(files, path, type::opus, opus()), 0);
  EXPECT_NE(reread(readFile(path) + readFile(path)), 0) << "two streams, one behind the other";
  EXPECT_THAT(services.deviceReport->lastRefusal()->reason, HasSubstr(path));
  for (const int format : {SF_FORMAT_SDS | SF_FORMAT_PCM_16, SF_FORMAT_PAF | SF_FORMAT_PCM_24}) {
    writeSound(path, {.rate = 48000, .channels = 1, .samples = std::vector<float>(1000, 0.5F)}, format);
    Packets read;
    EXPECT_EQ(readFile(files, path, read), status::unsupportedFormat) << "samples are packed in another way";
    EXPECT_THAT(services.deviceReport->lastRefusal()->reason, HasSubstr("they play linear PCM, FLAC and Opus"));
  }
}

TEST_F(SoundFiles, AreHandedOverToALaterWriterButNotTakenFromAReader) {
  const Packets packets = noise(1, 100);
  const SoundFile first = create(path, type::wave, packets.format);
  ASSERT_EQ(append(files, first, packets), 0);
  const SoundFile second = create(path, type::au, packets.format);
  EXPECT_EQ(append(files, first, packets), status::badParameter);
  std::uint32_t count = 1;
  EXPECT_EQ(files.writePackets(first, 2, nullptr, 100, count, packets.bytes.data()), status::wrongState);
  ASSERT_EQ(append(files, second, packets), 0);
  EXPECT_EQ(files.close(first) + files.close(second), 0);
  expectSame(packets, path);
  EXPECT_EQ(services.fileReport->writtenFiles().size(), 2U);
  SoundFile reader{}, refused{};
  ASSERT_EQ(files.open(path, reader), 0);
  EXPECT_EQ(files.create(path, type::wave, packets.format, refused), status::noPermission);
  EXPECT_THAT(log, HasSubstr("is the file being played of this run"));
  EXPECT_EQ(refused, SoundFile::none);
  EXPECT_EQ(files.close(reader), 0);
  expectSame(packets, path);
  const std::tuple<std::string, Status> rows[] = {{folder.path().string(), status::notRegularFile},
                                                  {folder.file("missing"), status::notFound},
                                                  {path + "/take", status::notFound}};
  for (const auto& [wrong, refusal] : rows) EXPECT_EQ(files.open(wrong, reader), refusal) << wrong;
  for (const auto& [code, format] :
       {std::pair(type::wave, int16(0)), {type::aiff, int16(1)}, {0x20202020U, int16(1)}}) {
    const Status refusal = code == 0x20202020 ? status::unsupportedType : status::unsupportedFormat;
    EXPECT_EQ(files.create(path, code, format, refused), refusal);
    expectSame(packets, path);
  }
}

TEST_F(SoundFiles, StayValidIfTheDiskIsFull) {
  for (const auto& [code, packets, descriptionOfFile] :
       {std::tuple(type::wave, noise(3, 20'000), "wave"), {type::flac, flac(), "flac"}, {type::opus, opus(), "opus"}}) {
    SCOPED_TRACE(descriptionOfFile);
    const SoundFile file = create(path, code, packets.format);
    ASSERT_EQ(packets.cookie.empty() ? 0 : setCookie(file, packets.cookie), 0);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{3001, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    std::uint32_t written = 0;
    Status status = 0;
    while (status == 0 && written < packets.count()) {
      std::uint32_t count = code == type::wave ? 100 : 1;
      const bool isPcm = packets.descriptions.empty();
      status = files.writePackets(file, isPcm ? 600 : static_cast<std::uint32_t>(packets.bytes.size()),
                                  isPcm ? nullptr : &packets.descriptions[written], written, count,
                                  packets.bytes.data() + (isPcm ? written * 6 : 0));
      written += count;
    }
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(status, status::ioFailure) << "File too large";
    EXPECT_TRUE(services.fileReport->writeFailure());
    // Now there is room, and the rest follows what is there.
    EXPECT_EQ(append(files, file, packets, written), 0);
    EXPECT_EQ(files.close(file), 0);
    expectSame(packets, path);
    EXPECT_THAT(outputOf(code == type::opus ? "opusinfo " + path : "true"), Not(HasSubstr("WARN")));
  }
}

TEST_F(SoundFiles, TakeTheCookieOfTheirFormat) {
  const SoundFile pcm = create(path, type::wave, int16(1));
  EXPECT_EQ(setCookie(pcm, randomBytes(34)), status::wrongState);
  std::uint32_t size = 7, count = 1;
  bool isWritable = true;
  EXPECT_TRUE(files.propertyInfo(pcm, Property::magicCookie, size, isWritable) == 0 && size == 0 && !isWritable);
  EXPECT_EQ(files.close(pcm), 0);
  for (const auto& [code, packets] : {std::pair(type::flac, flac()), {type::opus, opus()}}) {
    const SoundFile file = create(path, code, packets.format);
    EXPECT_TRUE(files.propertyInfo(file, Property::magicCookie, size, isWritable) == 0 && size == 0 && isWritable);
    EXPECT_EQ(append(files, file, packets), status::wrongState) << "a packet before the cookie";
    for (const std::size_t wrong : {0U, 18U, 33U, 35U})
      EXPECT_EQ(setCookie(file, randomBytes(wrong)), wrong == 0 ? status::badParameter : status::unsupportedFormat);
    EXPECT_EQ(setCookie(file, randomBytes((1 << 20) + 1)), status::badParameter);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(setCookie(file, packets.cookie), 0);
    std::vector<std::byte> other = packets.cookie;
    other[12] ^= std::byte{0x40};
    EXPECT_EQ(setCookie(file, other), code == type::flac ? 0 : status::wrongState);
    EXPECT_EQ(files.close(file), 0);
    SoundFile reader{};
    if (files.open(path, reader) != 0) continue;
    EXPECT_EQ(setCookie(reader, packets.cookie), status::wrongState);
    EXPECT_EQ(files.readPackets(reader, size, nullptr, 0, count, other.data()), status::badParameter);
    EXPECT_EQ(files.close(reader), 0);
  }
}

TEST_F(SoundFiles, RefuseWrongArguments) {
  const Packets packets = noise(1, 10);
  const SoundFile file = create(path, type::wave, packets.format);
  const auto write = [&](SoundFile to, std::uint32_t size, std::int64_t first, std::uint32_t count, const void* data) {
    return files.writePackets(to, size, nullptr, first, count, data);
  };
  const std::byte* const data = packets.bytes.data();
  EXPECT_EQ(write(file, 20, 0, 10, data), 0);
  EXPECT_EQ(write(file, 20, 10, 0, data), 0);
  const std::tuple<SoundFile, std::uint32_t, std::int64_t, std::uint32_t, const void*> rows[] = {
      {SoundFile::none, 2, 10, 1, data},
      {SoundFile{77}, 2, 10, 1, data},
      {file, 1, 10, 1, data},
      {file, 2, 9, 1, data},
      {file, 2, 11, 1, data},
      {file, 2, -1, 1, data},
      {file, 2, 10, 1, nullptr},
      {file, 20, 10, UINT32_MAX, data}};
  for (const auto& [to, size, first, count, from] : rows)
    EXPECT_EQ(write(to, size, first, count, from), status::badParameter) << size << " " << first << " " << count;
  std::uint32_t size = 100, count = 1;
  std::byte room[100];
  EXPECT_EQ(files.readPackets(file, size, nullptr, 0, count, room), status::wrongState);
  EXPECT_EQ(files.property(file, Property::packetSizeUpperBound, size, room), status::wrongState);
  EXPECT_EQ(files.close(file), 0);
  EXPECT_EQ(files.close(file), status::badParameter);
  SoundFile reader{};
  ASSERT_EQ(files.open(path, reader), 0);
  EXPECT_EQ(write(reader, 2, 10, 1, data), status::wrongState);
  size = 100;
  count = 1;
  EXPECT_EQ(files.readPackets(reader, size, nullptr, -1, count, room), status::badParameter);
  EXPECT_EQ(files.readPackets(reader, size, nullptr, 0, count, nullptr), status::badParameter);
  for (const Property unknown : {Property{0}, Property{5}})
    EXPECT_EQ(files.property(reader, unknown, size = 4, room), status::badParameter);
  EXPECT_EQ(files.property(reader, Property::formatList, size = 100, nullptr), status::badParameter);
  EXPECT_TRUE(files.property(reader, Property::formatList, size = 100, room) == 0 && size == 48);
  EXPECT_EQ(files.close(reader), 0);
  EXPECT_EQ(outputOf("sox -n -r 8000 -c 6 -b 24 " + path + ".wav trim 0 1"), "");
  ASSERT_EQ(files.open(path + ".wav", reader), 0);
  bool isWritable = true;
  EXPECT_TRUE(files.propertyInfo(reader, Property::channelLayout, size, isWritable) == 0 && !isWritable);
  EXPECT_EQ(size, 12U + 6 * 20);
}

}  // namespace
}  // namespace orvane::test
