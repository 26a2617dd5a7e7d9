// SPDX-License-Identifier: MIT

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "Pexutil/Source/Utility/PXX4CCString.h"
#include "tests/support/Test.h"

static_assert(!std::is_copy_constructible_v<PX::BufferList> && !std::is_copy_assignable_v<PX::BufferList>);
static_assert(sizeof(PXX4CCString) == 16 && sizeof(PXX4CCStringNoQuote) == 16);

TEST(BufferListDeathTest, EntriesFollowTheHeaderAndStartAtZeroAndAWrongCountEndsTheProcess) {
  for (const std::uint32_t count : {0U, 1U, 2U, 64U}) {
    PX::BufferList list(count);
    ASSERT_EQ(list.GetNumberBuffers(), count);
    const auto* header = reinterpret_cast<const char*>(&list.GetAudioBufferList());
    for (std::uint32_t i = 0; i < count; ++i) {
      EXPECT_EQ(reinterpret_cast<const char*>(&list[i]), header + 8 + 16 * i);
      EXPECT_TRUE(list[i].channels == 0 && list[i].byteSize == 0 && list[i].data == nullptr);
      EXPECT_EQ(&list.GetAudioBufferList().buffers()[i], &list[i]);
    }
    EXPECT_THROW(list[count], std::out_of_range);
    EXPECT_THROW(list[std::size_t{1} << 32], std::out_of_range);
    list.GetAudioBufferList().bufferCount = count + 1;
    EXPECT_DEATH(list[0], "GetNumberBuffers");
  }
}

TEST(FourCharacter, RendersCharactersElseNumbers) {
  const std::pair<std::uint32_t, std::string> cases[] = {
      {0x6C70636D, "'lpcm'"},     {0x20202020, "'    '"},     {0x7E207E20, "'~ ~ '"},     {0, "0"},
      {199999, "199999"},         {200000, "0x30d40"},        {0xFFFFFFFF, "-1"},         {0xFFFCF2C1, "-199999"},
      {0x80000000, "0x80000000"}, {0xFFFCF2C0, "0xfffcf2c0"}, {0x7F6F6963, "0x7f6f6963"}, {0x6C70631F, "0x6c70631f"},
      {0x6C80636D, "0x6c80636d"}, {0x0A0B0C0D, "0xa0b0c0d"}};
  for (const auto& [code, text] : cases) {
    EXPECT_EQ(PXX4CCString(static_cast<std::int32_t>(code)).c_str(), text);
    EXPECT_EQ(PXX4CCStringNoQuote(static_cast<std::int32_t>(code)).c_str(), text[0] == '\'' ? text.substr(1, 4) : text);
  }
}
