// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/PXAudioFileFormats.h"

#include "platform/StreamFormat.h"
#include "tests/support/ScriptedQueues.h"
#include "tests/support/TemporaryFolder.h"

namespace orvane::test {
namespace {

namespace flag = platform::format_flag;

constexpr std::uint32_t lpcm = platform::linearPcmFormatID, other = 1, third = 3;

/// The three entries of `types` differ in all parts that the catalogue queries.
class FileFormats : public testing::Test, protected ScriptedQueues {
 protected:
  FileFormats() {
    const StreamDescription big{.formatFlags = flag::bigEndian, .bitsPerChannel = 9}, little{.bitsPerChannel = 9};
    const StreamDescription byte{.formatFlags = flag::bigEndian, .bitsPerChannel = 8};
    types = {{0xB, "beta", {{"two", "wav"}}, {{lpcm, {big, little}}, {other, {little, byte}}, {third, {}}}},
             {0xA, "ALPHA", {{"one", "WaV", ""}}, {}},
             {0xC, "Charlie", {{"three", "\xC3\x84", "\xE2\x82"}}, {}}};
    decodable = {other};
    encodable = {third};
  }

  /// Returns the catalogue as a text: each type with its name, extensions and data formats.
  std::string catalogue(bool dataFormats) const {
    const PXAudioFileFormats made(services, dataFormats);
    std::string text;
    for (std::int32_t i = 0; i < made.typeCount; ++i) {
      const auto& type = made.types[static_cast<std::size_t>(i)];
      text += (i == 0 ? "" : " ") + std::to_string(type.fileType) + (type.name ? ":" + *type.name : "") +
              (type.extensions ? "." + std::to_string(type.extensions->size()) : "");
      for (std::int32_t k = 0; k < type.dataFormatCount; ++k) {
        const auto& format = type.dataFormats[static_cast<std::size_t>(k)];
        text += "/" + std::to_string(format.formatID == lpcm ? 0 : format.formatID) + "x" +
                std::to_string(format.variantCount) + (format.readable ? "r" : "") + (format.writable ? "w" : "") +
                (format.bothEndians ? "b" : "");
        EXPECT_EQ(format.variants != nullptr, format.variantCount > 0);
      }
      EXPECT_TRUE(dataFormats || type.dataFormats == nullptr);
    }
    EXPECT_EQ(made.types != nullptr, made.typeCount > 0);
    return text;
  }
};

TEST_F(FileFormats, AreSortedByNameAndLackWhatTheHostDoesNotAnswer) {
  const std::string all = "10:ALPHA.3 11:beta.2/1x2r/3x0w/0x2rwb 12:Charlie.3";
  EXPECT_EQ(catalogue(true), all);
  const std::string none = "10:ALPHA.3 11:beta.2 12:Charlie.3";
  EXPECT_EQ(catalogue(false), none);
  const std::tuple<std::string, std::string> rows[] = {
      {"1", ""},                                                   // the types
      {"3", "10:ALPHA 11:beta/1x2r/3x0w/0x2rwb 12:Charlie"},       // the extensions
      {"4", none},                                                 // the data formats
      {"5", "10:ALPHA.3 11:beta.2/1x0r/3x0w/0x0rw 12:Charlie.3"},  // the variants
      {"codecs 1", none},
      {"codecs 2", none}};
  for (const auto& [query, wanted] : rows) {
    for (const std::string part : {"size of ", "data of "}) {
      answers = {{part + query, -1}};
      EXPECT_EQ(catalogue(true), wanted) << part << query;
    }
  }
  answers.clear();
  types[1].name.reset();
  EXPECT_EQ(catalogue(false), "11:beta.2 12:Charlie.3 10.3") << "a type without a name comes last";
  types[0].name = types[2].name = std::nullopt;
  EXPECT_EQ(PXAudioFileFormats(services, false).typeCount, 3);
  services.formatInfo.reset();
  EXPECT_EQ(PXAudioFileFormats(services, true).types[0].dataFormatCount, 0);
  services.soundFiles.reset();
  EXPECT_EQ(catalogue(true), "");
}

TEST_F(FileFormats, AreInferredFromTheTextBehindTheLastDot) {
  const PXAudioFileFormats made(services, false);
  const std::pair<std::uint32_t, std::vector<const char*>> rows[] = {
      {0xA, {"take.WAV", "take."}},
      {0xB, {"a.b/take.two", "take.one.two", "\xF0\x9F\x8E\xB5.two"}},
      {0xC, {".three", "take.\xC3\x84"}},
      {0,
       {nullptr, "", "take", "/tmp/a.b/take", "take.two ", "take.tw", "take.\xE2\x82", "\xFF.two", "\xC0\xAE.two",
        "\xED\xA0\x80.two", "\xF4\x90\x80\x80.two"}}};
  for (const auto& [wanted, names] : rows) {
    for (const char* const name : names) {
      std::uint32_t type = 77;
      EXPECT_EQ(made.InferFileFormatFromFilename(name, type), wanted != 0) << testing::PrintToString(name);
      EXPECT_EQ(type, wanted == 0 ? 77 : wanted) << testing::PrintToString(name);
    }
  }
}

TEST_F(FileFormats, OfTheProcessAreBuiltByTheFirstCall) {
  const PXAudioFileFormats& first = PXAudioFileFormats::Instance(false);
  types.clear();
  EXPECT_EQ(&PXAudioFileFormats::Instance(true), &first);
  ASSERT_EQ(first.typeCount, 3);
  EXPECT_EQ(first.types[1].dataFormats, nullptr);
}

TEST(HostFileFormats, AreExactlyThoseOfWhichFilesCanBeCreated) {
  const platform::Platform host = platform::makeSimulatedHost("pace=fast");
  const TemporaryFolder folder;
  const auto creates = [&](std::uint32_t type, const StreamDescription& format) {
    SoundFile file{};
    const Status created = host.soundFiles->create(folder.file("take"), type, format, file);
    EXPECT_TRUE(created == 0 ? host.soundFiles->close(file) == 0 : created == platform::status::unsupportedFormat);
    return created == 0;
  };
  // Every format that some type might hold, and formats that none holds.
  std::vector<StreamDescription> formats;
  for (const std::uint32_t kind : {0U, flag::signedInteger, flag::isFloat}) {
    for (const std::uint32_t width : {8U, 16U, 24U, 32U, 64U}) {
      for (const std::uint32_t order : {0U, flag::bigEndian}) {
        if (width == 8 && order != 0) continue;
        formats.push_back({0, lpcm, kind | flag::packed | order, 0, 1, 0, 0, width, 0});
      }
    }
  }
  for (const std::uint32_t width : {0U, 4U, 8U, 16U, 20U, 24U, 32U})
    formats.push_back({.formatID = platform::flacFormatID, .bitsPerChannel = width});
  for (const std::uint32_t frames : {0U, 960U})
    formats.push_back({.formatID = platform::opusFormatID, .framesPerPacket = frames});
  formats.push_back({.formatID = 0x6D703320});

  const PXAudioFileFormats all(host, true);
  ASSERT_EQ(all.typeCount, 7);
  int listed = 0;
  for (std::int32_t i = 0; i < all.typeCount; ++i) {
    const auto& type = all.types[static_cast<std::size_t>(i)];
    ASSERT_EQ(type.dataFormatCount, 1);
    const auto& [id, count, variants, readable, writable, bothEndians] = type.dataFormats[0];
    EXPECT_TRUE(readable && writable);
    const std::span known(variants.get(), static_cast<std::size_t>(count));
    for (StreamDescription format : formats) {
      const bool isListed = std::ranges::find(known, format) != known.end();
      listed += isListed;
      const bool isPcm = format.formatID == lpcm;
      format.sampleRate = 48000;
      format.channelsPerFrame = 2;
      if (isPcm) format.bytesPerFrame = format.bytesPerPacket = format.bitsPerChannel / 4;
      // The list has the usual widths of FLAC and the packet length of the encoder; others can be written too.
      const bool isAlike = !isPcm && format.formatID == id && format.bitsPerChannel != 4 && format.bitsPerChannel != 32;
      EXPECT_EQ(creates(type.fileType, format), isListed || isAlike)
          << *type.name << ": " << format.formatFlags << ", " << format.bitsPerChannel << " bits";
      for (const std::uint32_t channels : {0U, 3U, 9U, 257U}) {
        StreamDescription wide = format;
        wide.channelsPerFrame = channels;
        if (isPcm) wide.bytesPerFrame = wide.bytesPerPacket = channels * format.bitsPerChannel / 8;
        const std::uint32_t max = isPcm ? 256 : id == platform::flacFormatID ? 8 : 2;
        const bool fits = channels > 0 && channels <= max;
        EXPECT_EQ(creates(type.fileType, wide), (isListed || isAlike) && fits) << *type.name << ", " << channels;
      }
    }
    EXPECT_EQ(bothEndians,
              type.fileType == platform::sound_file_type::aifc || type.fileType == platform::sound_file_type::au);
  }
  EXPECT_EQ(listed, 7 + 4 + 11 + 1 + 6 + 6 + 4);
}

}  // namespace
}  // namespace orvane::test
