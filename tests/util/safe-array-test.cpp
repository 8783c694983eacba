#include "util/safe-array.h"

#include <gtest/gtest.h>

TEST(SafeArrayTest, StoresInline)
{
    safe_array<int, 3> array{};
    array[0] = 5;
    array[2] = 7;
    EXPECT_EQ(array.size(), 3u);
    EXPECT_EQ(sizeof array, 3 * sizeof(int));
    const auto& view = array;
    EXPECT_EQ(view[0] + view[1] + view[2], 12);
}

TEST(SafeArrayDeathTest, IndexAtOrPastTheSizeStopsTheProgram)
{
    safe_array<int, 100> array{};
    const char* report = R"(\( index < size\(\) \) && "Out of bounds access in safe array")";
    EXPECT_DEATH(array[100] = 1, report);
    // A negative int arrives as a huge unsigned index.
    const int negative = -1;
    EXPECT_DEATH(array[static_cast<unsigned>(negative)] = 1, report);
    const auto& view = array;
    EXPECT_DEATH((void)view[1000], report);
}
