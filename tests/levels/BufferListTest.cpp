#include "Pexutil/Source/Utility/PXBufferList.h"

#include <gmock/gmock.h>

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
    for (const std::size_t index : {std::size_t{count}, std::size_t{0xFFFFFFFF}, std::size_t{1} << 32}) {
      EXPECT_THAT([&] { list[index]; },
                  testing::ThrowsMessage<std::out_of_range>("accessing a PX::BufferList with an out-of-range index"));
    }
  }
}

TEST(BufferListDeathTest, EndsTheProcessWhenTheCountIsNotThatOfTheStorage) {
  for (const std::uint32_t count : {0U, 1U, 3U}) {
    PX::BufferList list(2);
    list.GetAudioBufferList().bufferCount = count;
    EXPECT_DEATH(list[0], "GetNumberBuffers");
  }
}
