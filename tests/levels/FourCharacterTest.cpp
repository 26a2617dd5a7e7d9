#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "Pexutil/Source/Utility/PXX4CCString.h"

static_assert(sizeof(PXX4CCString) == 16 && sizeof(PXX4CCStringNoQuote) == 16);

TEST(FourCharacterTest, RendersCharactersElseNumbers) {
  const std::pair<std::uint32_t, std::string> cases[] = {
      {0x6C70636D, "'lpcm'"},     {0x20202020, "'    '"},     {0x7E207E20, "'~ ~ '"},     {0, "0"},
      {199999, "199999"},         {200000, "0x30d40"},        {0xFFFFFFFF, "-1"},         {0xFFFCF2C1, "-199999"},
      {0x80000000, "0x80000000"}, {0xFFFCF2C0, "0xfffcf2c0"}, {0x7F6F6963, "0x7f6f6963"}, {0x6C70631F, "0x6c70631f"},
      {0x6C80636D, "0x6c80636d"}, {0x0A0B0C0D, "0xa0b0c0d"}};
  for (const auto& [code, text] : cases) {
    EXPECT_EQ(PXX4CCString(static_cast<std::int32_t>(code)).c_str(), text);
    const std::string plain = text.front() == '\'' ? text.substr(1, 4) : text;
    EXPECT_EQ(PXX4CCStringNoQuote(static_cast<std::int32_t>(code)).c_str(), plain);
  }
}
