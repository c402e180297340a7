#include "host/Tab.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

std::vector<int> contents(const Tab<int>& t) {
    return std::vector<int>(t.begin(), t.end());
}

Tab<int> tabOf(std::initializer_list<int> values) {
    Tab<int> t;
    t.Append(static_cast<int>(values.size()), values.begin());
    return t;
}

TEST(Tab, IndexOutOfRangeThrowsTheHostsException) {
    Tab<int> t = tabOf({1, 2, 3});
    for (int bad : {-1, 3, 1000}) {
        try {
            (void)t[bad];
            FAIL() << "index " << bad << " was accepted";
        } catch (const MaxSDK::Util::OutOfRangeException& e) {
            EXPECT_STREQ(e.what(), "Invalid index passed into a Max SDK Tab::operator[]");
        }
    }
    const Tab<int> empty;
    EXPECT_THROW((void)empty[0], std::out_of_range);
    EXPECT_EQ(t[2], 3);
}

TEST(Tab, AddrAllowsTheEndPointerButNothingBeyond) {
    Tab<int> t = tabOf({1, 2});
    EXPECT_EQ(t.Addr(2) - t.Addr(0), 2);
    EXPECT_THROW(t.Addr(3), MaxSDK::Util::OutOfRangeException);
    EXPECT_THROW(t.Addr(-1), MaxSDK::Util::OutOfRangeException);
}

TEST(Tab, InsertKeepsOrderAndClampsThePosition) {
    Tab<int> t = tabOf({1, 2, 3});
    const int mid[] = {10, 11};
    EXPECT_EQ(t.Insert(1, 2, mid), 1);
    EXPECT_EQ(contents(t), (std::vector<int>{1, 10, 11, 2, 3}));
    const int front = 0;
    t.Insert(-5, 1, &front);
    const int back = 99;
    EXPECT_EQ(t.Insert(100, 1, &back), 6);
    EXPECT_EQ(contents(t), (std::vector<int>{0, 1, 10, 11, 2, 3, 99}));
    t.Insert(2, 0, mid);
    t.Insert(2, 3, nullptr);
    EXPECT_EQ(t.Count(), 7);
}

TEST(Tab, InsertAndAppendFromTheTableItself) {
    // The source lies in the storage that the insert reallocates.
    Tab<int> t = tabOf({1, 2, 3});
    t.Insert(0, 3, t.Addr(0));
    EXPECT_EQ(contents(t), (std::vector<int>{1, 2, 3, 1, 2, 3}));
    t.Init();
    t.Append(1, tabOf({7}).Addr(0));
    for (int i = 0; i < 6; ++i) {
        t.Append(t.Count(), t.Addr(0));
    }
    EXPECT_EQ(t.Count(), 64);
    EXPECT_EQ(t[63], 7);
}

TEST(Tab, DeleteKeepsOrderAndClampsTheRange) {
    Tab<int> t = tabOf({0, 1, 2, 3, 4, 5});
    EXPECT_EQ(t.Delete(1, 2), 4);
    EXPECT_EQ(contents(t), (std::vector<int>{0, 3, 4, 5}));
    EXPECT_EQ(t.Delete(2, 100), 2);
    EXPECT_EQ(contents(t), (std::vector<int>{0, 3}));
    t.Delete(-1, 1);
    t.Delete(2, 1);
    t.Delete(0, 0);
    EXPECT_EQ(contents(t), (std::vector<int>{0, 3}));
}

TEST(Tab, CountsAndMemory) {
    Tab<int> t;
    EXPECT_EQ(t.Append(2, tabOf({5, 6}).Addr(0)), 0);
    EXPECT_EQ(t.Append(1, tabOf({7}).Addr(0), 10), 2);
    t.SetCount(5);
    EXPECT_EQ(contents(t), (std::vector<int>{5, 6, 7, 0, 0}));
    t.SetCount(1);
    t.SetCount(3);
    EXPECT_EQ(contents(t), (std::vector<int>{5, 0, 0})) << "regrown entries must be zero";
    t.SetCount(-4);
    EXPECT_EQ(t.Count(), 0);

    t.Resize(100);
    EXPECT_EQ(t.Count(), 0);
    t = tabOf({1, 2});
    t.ZeroCount();
    EXPECT_TRUE(t.IsEmpty());
}

TEST(Tab, CopiesAreIndependent) {
    Tab<int> a = tabOf({1, 2});
    Tab<int> b = a;
    b[0] = 9;
    EXPECT_EQ(a[0], 1);
    EXPECT_FALSE(a == b);
    EXPECT_EQ(a.Find(2), 1);
    EXPECT_EQ(a.Find(9), -1);
}

struct Keyed {
    int key;
    int order;
};

TEST(Tab, SortIsStableUnderAQsortComparison) {
    Tab<Keyed> t;
    const Keyed items[] = {{3, 0}, {1, 1}, {3, 2}, {2, 3}, {1, 4}, {3, 5}};
    t.Append(6, items);
    t.Sort([](const void* a, const void* b) {
        return static_cast<const Keyed*>(a)->key - static_cast<const Keyed*>(b)->key;
    });
    const int expectedOrder[] = {1, 4, 3, 0, 2, 5};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(t[i].order, expectedOrder[i]) << "at " << i;
    }
}

} // namespace
