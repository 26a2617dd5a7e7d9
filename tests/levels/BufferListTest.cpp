#include "Pexutil/Source/Utility/PXBufferList.h"

#include <gtest/gtest.h>

#include <type_traits>

static_assert(!std::is_copy_constructible_v<PX::BufferList> && !std::is_copy_assignable_v<PX::BufferList>);

TEST(BufferListTest, EntriesFollowTheHeaderAndStartAtZero) {
  for (const std::uint32_t count : {0U, 1U, 2U, 64U}) {
    PX::BufferList list(count);
    ASSERT_EQ(list.GetNumberBuffers(), count);
    const auto* header = reinterpret_cast<const char*>(&list.GetAudioBufferList());
    for (std::uint32_t i = 0; i < count; ++i) {
      EXPECT_EQ(reinterpret_cast<const char*>(&list[i]), header + 8 + 16 * i);
      EXPECT_TRUE(list[i].channels == 0 && list[i].byteSize == 0 && list[i].data == nullptr);
      list[i] = {1, 1024, &list};
      EXPECT_EQ(list.GetAudioBufferList().buffers()[i].data, &list);
    }
    EXPECT_THROW(list[count], std::out_of_range);
    EXPECT_THROW(list[std::size_t{1} << 32], std::out_of_range);
  }
}

TEST(BufferListDeathTest, EndsTheProcessWhenTheCountIsNotThatOfTheStorage) {
  PX::BufferList list(2);
  list.GetAudioBufferList().bufferCount = 3;
  EXPECT_DEATH(list[0], "GetNumberBuffers");
}
