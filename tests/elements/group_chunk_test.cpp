// The stored group list: its exact bytes, the round trip, old and hostile data, refused writes.
#include "elements/wkCacheGroupChunk.h"

#include "host/headless/HeadlessHost.h"
#include "tests/cachefile/AllocationProbe.h"
#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

void put32(Bytes& b, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

Bytes saved(const wkCacheGroupList& list) {
    wkCacheByteBuffer buffer;
    EXPECT_EQ(saveGroups(list, buffer), wkCacheGroupIO::ok);
    return buffer.data();
}

class GroupChunk : public ::testing::Test {
protected:
    HeadlessHost host;
    ScopedHost scope{host};

    const std::vector<HeadlessUserInterface::Message>& messages() { return host.UI().Messages(); }
};

TEST_F(GroupChunk, OneGroupInItsExactBytes) {
    wkCacheGroupList list;
    ASSERT_TRUE(list.addGroup(WStr(L"Ab")));
    wkCacheGroup& g = list.at(0);
    g.elements = {2, 0x01020304};
    g.setMode(3);
    g.enabled = false;
    g.setOffset(1.5f); // 0x3FC00000
    g.setMaterialId(7);
    g.respectActivation = true;
    g.setDistance(-2.0f); // clamped to 0
    g.setAge(2.0f);       // 0x40000000

    const Bytes expected = {
        1,    0,    0,    0,                                // count
        5,    0,    0,    0,                                // version
        2,    0,    0,    0,    'A', 'b',                   // name
        2,    0,    0,    0,    2,   0,   0, 0, 4, 3, 2, 1, // elements, ascending
        3,    0,    0,    0,                                // mode
        0,                                                  // enabled
        0x00, 0x00, 0xC0, 0x3F,                             // offset
        7,    0,    0,    0,                                // materialId
        1,                                                  // respectActivation
        0,    0,    0,    0,                                // distance
        0x00, 0x00, 0x00, 0x40,                             // age
    };
    EXPECT_EQ(saved(list), expected);
}

TEST_F(GroupChunk, LoadGivesBackWhatWasSavedButTheUnstoredState) {
    wkCacheGroupList list;
    ASSERT_TRUE(list.addGroup(WStr(L"Debris")));
    ASSERT_TRUE(list.addGroup(WStr(L"Sparks 2")));
    list.at(0).elements = {0, 5, 6};
    list.at(0).setMode(0);
    list.at(0).byAge = true;
    list.at(0).byDistance = true;
    list.at(0).setDistance(12.25f);
    list.at(1).setMode(5);
    list.at(1).setMaterialId(42);
    list.at(1).respectActivation = false;
    list.at(1).setOffset(-3.0f);
    const Bytes bytes = saved(list);

    wkCacheGroupList loaded;
    loaded.addGroup(WStr(L"Stale"));
    ASSERT_EQ(loadGroups(loaded, bytes), wkCacheGroupIO::ok);

    // Not stored: the selection and the two flags; the version is what was read.
    wkCacheGroupList expected;
    for (wkCacheGroup g : list.all()) {
        g.version = 5;
        g.byAge = false;
        g.byDistance = false;
        ASSERT_TRUE(expected.addRecord(g));
    }
    EXPECT_EQ(loaded, expected);
    EXPECT_EQ(loaded.at(1).scriptName, WStr(L"Sparks2"));
    EXPECT_TRUE(messages().empty());
}

TEST_F(GroupChunk, NamesBeyondAsciiKeepTheWholeCharactersThatFit) {
    wkCacheGroupList list;
    ASSERT_TRUE(list.addGroup(WStr(L"Gr\u00f6\u00dfe"))); // 5 characters, 7 bytes of UTF-8
    const Bytes bytes = saved(list);
    const Bytes name(bytes.begin() + 12, bytes.begin() + 17);
    EXPECT_EQ(name, (Bytes{'G', 'r', 0xC3, 0xB6, 0}));

    wkCacheGroupList loaded;
    ASSERT_EQ(loadGroups(loaded, bytes), wkCacheGroupIO::ok);
    EXPECT_EQ(loaded.at(0).name, WStr(L"Gr\u00f6"));
}

TEST_F(GroupChunk, AnOlderVersionIsToldOnceAndLeavesNoGroups) {
    wkCacheGroupList list;
    ASSERT_TRUE(list.addGroup(WStr(L"A")));
    ASSERT_TRUE(list.addGroup(WStr(L"B")));
    Bytes bytes = saved(list);
    // The second group claims version 4: the first, already read, goes again.
    const std::size_t second = 4 + (bytes.size() - 4) / 2;
    bytes[second] = 4;

    wkCacheGroupList loaded;
    EXPECT_EQ(loadGroups(loaded, bytes), wkCacheGroupIO::incompatible);
    EXPECT_TRUE(loaded.empty());
    EXPECT_EQ(loaded.selected(), -1);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0].text,
              WStr(L"The element groups stored in this max file could not be loaded because they "
                   L"are incompatible with this version of the Welkard Cache plugin."));
    EXPECT_EQ(messages()[0].title, WStr(L"Welkard Cache - Loading Groups"));
    EXPECT_EQ(messages()[0].style, MB_OK | MB_ICONEXCLAMATION);
}

TEST_F(GroupChunk, CountsBelowOneAndRepeatedNames) {
    wkCacheGroupList loaded;
    Bytes none;
    put32(none, 0x80000000u); // the most negative count
    EXPECT_EQ(loadGroups(loaded, none), wkCacheGroupIO::ok);
    EXPECT_TRUE(loaded.empty());
    EXPECT_EQ(loadGroups(loaded, Bytes{}), wkCacheGroupIO::readError);

    wkCacheGroupList list;
    ASSERT_TRUE(list.addGroup(WStr(L"Same")));
    list.at(0).setOffset(1.0f);
    Bytes one = saved(list);
    // Twice the same group: the second is dropped, the load goes on.
    Bytes twice = one;
    twice[0] = 2;
    twice.insert(twice.end(), one.begin() + 4, one.end());
    put32(twice, 0); // bytes after the last group are not read
    ASSERT_EQ(loadGroups(loaded, twice), wkCacheGroupIO::ok);
    EXPECT_EQ(loaded.count(), 1);
}

TEST_F(GroupChunk, HostileBytesFailCleanlyWithoutLargeAllocations) {
    const auto words = [](std::initializer_list<std::uint32_t> values, Bytes tail = {}) {
        Bytes b;
        for (const std::uint32_t v : values)
            put32(b, v);
        b.insert(b.end(), tail.begin(), tail.end());
        return b;
    };
    const std::pair<const char*, Bytes> cases[] = {
        {"huge group count", words({0x7FFFFFFF, 5}, {1, 0})},
        {"huge name length", words({1, 5, 0x7FFFFFFF}, {'x', 'y'})},
        {"negative name length", words({1, 5, 0xFFFFFFFF})},
        {"huge element count", words({1, 5, 0, 0x40000000, 1})},
        {"negative element count", words({1, 5, 0, 0x80000001})},
    };
    for (const auto& [what, bytes] : cases) {
        wkCacheGroupList loaded;
        ASSERT_TRUE(loaded.addGroup(WStr(L"Before")));
        allocprobe::LargestAllocation probe;
        EXPECT_EQ(loadGroups(loaded, bytes), wkCacheGroupIO::readError) << what;
        EXPECT_LT(probe.bytes(), 4096u) << what;
        EXPECT_TRUE(loaded.empty()) << what;
    }
    EXPECT_TRUE(messages().empty());
}

TEST_F(GroupChunk, EveryCutOfAValidStreamIsAReadError) {
    wkCacheGroupList list;
    ASSERT_TRUE(list.addGroup(WStr(L"One")));
    ASSERT_TRUE(list.addGroup(WStr(L"Two")));
    list.at(1).elements = {1, 2, 3};
    const Bytes bytes = saved(list);
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        wkCacheGroupList loaded;
        const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
        EXPECT_EQ(loadGroups(loaded, cut), wkCacheGroupIO::readError) << n;
        EXPECT_TRUE(loaded.empty()) << n;
    }
}

// Accepts a given number of writes, then refuses all.
class RefusingSink final : public wkCacheByteSink {
public:
    explicit RefusingSink(int accepted_) : accepted(accepted_) {}
    bool write(std::span<const std::uint8_t> data) override {
        if (accepted == 0)
            return false;
        --accepted;
        buffer.write(data);
        return true;
    }
    int accepted;
    wkCacheByteBuffer buffer;
};

TEST_F(GroupChunk, RefusedWrites) {
    wkCacheGroupList list;
    ASSERT_TRUE(list.addGroup(WStr(L"A")));
    list.at(0).elements = {4};

    // The count refused: the scene carries no groups, and the save goes on.
    RefusingSink noCount(0);
    EXPECT_EQ(saveGroups(list, noCount), wkCacheGroupIO::ok);
    EXPECT_TRUE(noCount.buffer.data().empty());

    // Refused inside the record: no further bytes follow the refusal.
    RefusingSink partial(4); // count, version, name length, name
    EXPECT_EQ(saveGroups(list, partial), wkCacheGroupIO::writeError);
    EXPECT_EQ(partial.buffer.data().size(), 13u);
}

} // namespace
