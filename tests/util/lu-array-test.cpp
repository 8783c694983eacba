#include "util/lu-array.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

// Counts its destructions, so that tests see which elements an array drops.
struct Counted
{
    explicit Counted(int value) : value(value) {}
    virtual ~Counted() { ++destroyed; }
    int value;
    static inline int destroyed = 0;
};

struct Derived : Counted
{
    explicit Derived(int value, bool& flag) : Counted(value), flag(flag) {}
    ~Derived() override { flag = true; }
    bool& flag;
};

using Array = TLuArray<Counted, Counted*>;

class LuArrayTest : public ::testing::Test
{
protected:
    void SetUp() override { Counted::destroyed = 0; }

    static void fill(Array& array, int n)
    {
        for (int i = 0; i < n; ++i)
            array.AddData(new Counted(i));
    }
    static std::vector<int> values(const Array& array)
    {
        std::vector<int> out;
        for (int i = 0; i < array.count; ++i)
            out.push_back(array.data[i] != nullptr ? array.data[i]->value : -1);
        return out;
    }
};

} // namespace

TEST_F(LuArrayTest, IndexPastTheEndYieldsTheLastElement)
{
    Array empty;
    EXPECT_EQ(empty.data, nullptr);
    EXPECT_EQ(empty[0], nullptr);
    EXPECT_EQ(empty[9], nullptr);

    Array three;
    fill(three, 3);
    EXPECT_EQ(three[1]->value, 1);
    EXPECT_EQ(three[3]->value, 2);
    EXPECT_EQ(three[9]->value, 2);
    EXPECT_EQ(three[-1], nullptr);
}

TEST_F(LuArrayTest, InsertAndDeleteClampPositions)
{
    Array array;
    fill(array, 3);
    array.InsData(new Counted(10), 0);
    array.InsData(new Counted(11), 2);
    array.InsData(new Counted(12), 99);
    EXPECT_EQ(values(array), (std::vector<int>{10, 0, 11, 1, 2, 12}));

    array.DelData(1);
    array.DelData(99);  // the last place
    EXPECT_EQ(values(array), (std::vector<int>{10, 11, 1, 2}));
    EXPECT_EQ(Counted::destroyed, 2);
    array.DelData(-1);
    EXPECT_EQ(array.count, 4);

    Counted outside(5);
    Array empty;
    empty.DelData(0);
    empty.SetData(&outside, 0);  // no place to store it: nothing happens
    EXPECT_EQ(empty.count, 0);
    EXPECT_EQ(empty.data, nullptr);
    EXPECT_EQ(Counted::destroyed, 2);
}

TEST_F(LuArrayTest, OwningArrayDestroysWhatItDrops)
{
    Array array(2);
    EXPECT_EQ(values(array), (std::vector<int>{-1, -1}));
    array.SetData(new Counted(1), 0);
    array.SetData(new Counted(2), 5);  // taken as the last place
    EXPECT_EQ(values(array), (std::vector<int>{1, 2}));
    array.SetData(new Counted(3), 1);
    EXPECT_EQ(Counted::destroyed, 1);

    array.SetSize(4);
    EXPECT_EQ(values(array), (std::vector<int>{1, 3, -1, -1}));
    array.SetSize(1);
    EXPECT_EQ(values(array), (std::vector<int>{1}));
    EXPECT_EQ(Counted::destroyed, 2);
    array.Clear();
    EXPECT_EQ(Counted::destroyed, 3);
    EXPECT_EQ(array.data, nullptr);
    EXPECT_EQ(array.count, 0);
}

TEST_F(LuArrayTest, DelEntryLeavesTheElementAlive)
{
    Array array;
    fill(array, 3);
    Counted* kept = array[1];
    array.DelEntry(1);
    EXPECT_EQ(Counted::destroyed, 0);
    EXPECT_TRUE(array.owner);
    EXPECT_EQ(values(array), (std::vector<int>{0, 2}));
    EXPECT_EQ(kept->value, 1);
    delete kept;

    array.DelData(0);
    EXPECT_EQ(Counted::destroyed, 2);
}

TEST_F(LuArrayTest, NonOwningArrayDestroysNothing)
{
    Counted a(1), b(2), c(3);
    {
        Array array;
        array.owner = false;
        array.AddData(&a);
        array.AddData(&b);
        array.SetData(&c, 1);
        array.DelData(0);
        array.SetSize(3);
        array.SetSize(0);
        array.AddData(&a);
    }
    EXPECT_EQ(Counted::destroyed, 0);
}

TEST_F(LuArrayTest, ElementsGoThroughTheirVirtualDestructor)
{
    bool derivedGone = false;
    {
        Array array;
        array.AddData(new Derived(1, derivedGone));
    }
    EXPECT_TRUE(derivedGone);
    EXPECT_EQ(Counted::destroyed, 1);
}

TEST_F(LuArrayTest, MoveHandsOverOwnership)
{
    Array from;
    fill(from, 2);
    Array to(std::move(from));
    EXPECT_EQ(from.count, 0);
    EXPECT_EQ(from.data, nullptr);
    Array other;
    fill(other, 1);
    other = std::move(to);
    EXPECT_EQ(Counted::destroyed, 1);
    EXPECT_EQ(values(other), (std::vector<int>{0, 1}));
}
