// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/PXLiterals.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace PX::Literals;
using platform::StreamDescription;

/// Returns the description of a linear PCM format with one frame in each packet.
constexpr StreamDescription pcm(double rate, std::uint32_t flags, std::uint32_t frameBytes, std::uint32_t channels,
                                std::uint32_t bits) {
  return {rate, 0x6C70636D, flags, frameBytes, 1, frameBytes, channels, bits, 0};
}

// A literal can be evaluated at compile time.
static_assert("44100-S16IE-1"_lpcm == pcm(44100, 0xE, 2, 1, 16));
static_assert("44100-S16Ie-1"_lpcm == pcm(44100, 0xC, 2, 1, 16));

/// Text that ends at the end of a page, behind which no memory can be read.
class TextAtPageEnd {
 public:
  explicit TextAtPageEnd(std::string_view text) : mCount(text.size()) {
    mMemory = static_cast<char*>(mmap(nullptr, 2 * mPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (mMemory == MAP_FAILED || mprotect(mMemory + mPage, mPage, PROT_NONE) != 0) throw std::bad_alloc();
    std::memcpy(mMemory + mPage - mCount, text.data(), mCount);
  }
  ~TextAtPageEnd() { munmap(mMemory, 2 * mPage); }
  TextAtPageEnd(const TextAtPageEnd&) = delete;
  TextAtPageEnd& operator=(const TextAtPageEnd&) = delete;

  StreamDescription literal() const { return operator""_lpcm(mMemory + mPage - mCount, mCount); }

 private:
  const std::size_t mPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t mCount;
  char* mMemory = nullptr;
};

TEST(Literals, DescribeTheFormatThatTheyName) {
  const std::pair<std::string_view, StreamDescription> rows[] = {
      {"44100-F32-2", pcm(44100, 0x29, 4, 2, 32)},
      {"44100-X32I-2", pcm(44100, 0x9, 8, 2, 32)},
      {"44100-s16I-2", pcm(44100, 0x9, 4, 2, 16)},
      {"44100-S24A32I-2", pcm(44100, 0x14, 8, 2, 24)},
      {"44100-S24a32I-2", pcm(44100, 0x4, 8, 2, 24)},
      {"44100-S24A24I-2", pcm(44100, 0xC, 6, 2, 24)},
      {"44100-U8a16I-1", pcm(44100, 0x80000000, 2, 1, 8)},
      {"44100-U8I-1", pcm(44100, 0x8, 1, 1, 8)},
      {"44100-S16m-1", pcm(44100, 0x6C, 2, 1, 16)},
      {"44100-S16mM-1", pcm(44100, 0x2C, 2, 1, 16)},
      {"44100-S16EeiIIiI-2", pcm(44100, 0xC, 4, 2, 16)},
      {"44100-S16I-3", pcm(44100, 0xC, 6, 3, 16)},
      {"44100-S16-3", pcm(44100, 0x2C, 2, 3, 16)},
      {"44100-S20I-1", pcm(44100, 0xC, 2, 1, 20)},
      {"44100.5-S16I-1", pcm(44100.5, 0xC, 2, 1, 16)},
      {"44100.-S16I-1", pcm(44100, 0xC, 2, 1, 16)},
      {".5-S16I-1", pcm(0.5, 0xC, 2, 1, 16)},
      {"  \t\n\v\f\r44100-S16I-1", pcm(44100, 0xC, 2, 1, 16)},
      {"-44100-S16I-1", pcm(-44100, 0xC, 2, 1, 16)},
      {"+44100-S16I-1", pcm(44100, 0xC, 2, 1, 16)},
      {"44100-S16IEx-1", pcm(44100, 0xE, 2, 1, 16)},
      {"44100-S24I32-1", pcm(44100, 0xC, 3, 1, 24)},
      {"44100-S16IA32-1", pcm(44100, 0xC, 2, 1, 16)},
      {"44100-S16A-2", pcm(44100, 0x34, 0, 2, 16)},
      {"44100-SI-1", pcm(44100, 0xC, 0, 1, 0)},
      {"44100-S16I-", pcm(44100, 0xC, 0, 0, 16)},
      {"44100---", pcm(44100, 0x29, 0, 0, 0)}};
  for (const auto& [text, wanted] : rows) EXPECT_EQ(TextAtPageEnd(text).literal(), wanted) << text;
  EXPECT_EQ("48000.125-S16I-1"_lpcm.sampleRate, 48000 + 1 / 10.0 + 2 / 100.0 + 5 / 1000.0);
  EXPECT_EQ("0.1-S16I-1"_lpcm.sampleRate, 0.1);
}

TEST(LiteralsDeathTest, EndTheProcessIfTheyAreMalformed) {
  const std::string hyphen = "\\*inToken == '-'", end = "inToken == theEnd";
  const std::pair<std::string_view, std::string> rows[] = {{"44100-S16I", hyphen},
                                                           {"44100S16-1", hyphen},
                                                           {"-S16-1", hyphen},
                                                           {"", hyphen},
                                                           {"-", hyphen},
                                                           {"+", hyphen},
                                                           {"44100", hyphen},
                                                           {"44100-", hyphen},
                                                           {"44100-S", hyphen},
                                                           {"44100 -S16-1", hyphen},
                                                           {"44.1.0-S16-1", hyphen},
                                                           {"4e4-S16-1", hyphen},
                                                           {"- 44100-S16-1", hyphen},
                                                           {"44100-S16I-1x", end},
                                                           {"44100-S16I-1 ", end},
                                                           {"44100-S16I--1", end}};
  for (const auto& [text, condition] : rows) {
    const TextAtPageEnd atEnd(text);
    EXPECT_DEATH(atEnd.literal(),
                 "PXLiterals\\.h:[0-9]+: operator\"\"_lpcm: Assertion `" + condition + "' failed\\.\n$")
        << text;
  }
}

}  // namespace
}  // namespace orvane::test
