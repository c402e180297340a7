// The open-cache registry: shared readers, clients as reference counts, eviction, and the
// reload of failed readers.
#include "cachefile/wkCacheRegistry.h"
#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace WelkardTools;
using namespace cachetest;

namespace {

// Clients are known by their address alone; the registry never looks inside.
struct Clients {
    int storage[4] = {};
    wkCachePlaybackState* operator[](int i) {
        return reinterpret_cast<wkCachePlaybackState*>(&storage[i]);
    }
};

class CacheRegistry : public ::testing::Test {
protected:
    CacheRegistry() {
        CacheSpec spec;
        spec.nodes = {triangleNode("a")};
        spec.samples = {{moved(1, 2, 3)}};
        fileA = WStr(dir.write("a.wkc", buildCache(spec)).c_str());
        spec.nodes.push_back(triangleNode("b"));
        spec.samples = {{moved(1, 2, 3), moved(4, 5, 6)}};
        fileB = WStr(dir.write("b.wkc", buildCache(spec)).c_str());
    }

    TempDir dir;
    WStr fileA;
    WStr fileB;
    wkCacheRegistry registry;
    Clients client;
};

} // namespace

TEST_F(CacheRegistry, TwoClientsShareOneReader) {
    bool isNew = false;
    wkCacheReader* first = registry.openCache(client[0], fileA, isNew);
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(isNew);
    EXPECT_EQ(first->status(), kStatusOk);
    wkCacheReader* second = registry.openCache(client[1], fileA, isNew);
    EXPECT_TRUE(isNew);
    EXPECT_EQ(second, first);
    EXPECT_EQ(registry.openCache(client[0], fileA, isNew), first);
    EXPECT_FALSE(isNew);
    wkCacheRegistryEntry* entry = registry.findEntryOfClient(client[1]);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->entryClientCount(), 2);
    EXPECT_EQ(entry->entryClient(0), client[0]);
    EXPECT_EQ(entry->entryReader(), first);
    EXPECT_EQ(entry->fileName, fileA);
}

TEST_F(CacheRegistry, SwitchingToANewFileReleasesTheOldOne) {
    bool isNew = false;
    registry.openCache(client[0], fileA, isNew);
    registry.openCache(client[0], fileB, isNew);
    EXPECT_TRUE(isNew);
    EXPECT_FALSE(registry.containsCache(fileA)); // it was the last client
    EXPECT_TRUE(registry.containsCache(fileB));
    EXPECT_EQ(registry.readerOfClient(client[0])->cacheNumNodes(), 2);
}

TEST_F(CacheRegistry, SwitchingToAnOpenFileKeepsTheClientInBoth) {
    bool isNew = false;
    registry.openCache(client[1], fileA, isNew);
    registry.openCache(client[0], fileB, isNew);
    registry.openCache(client[0], fileA, isNew);
    EXPECT_TRUE(isNew);
    EXPECT_EQ(registry.findEntryOfClient(client[0])->fileName, fileA); // first in key order
    EXPECT_EQ(registry.readerOfClient(client[0])->cacheNumNodes(), 1);
    registry.releaseClient(client[0]);
    EXPECT_EQ(registry.findEntryOfClient(client[0]), nullptr);
    EXPECT_TRUE(registry.containsCache(fileA));
    EXPECT_FALSE(registry.containsCache(fileB));
}

TEST_F(CacheRegistry, EvictionHandsBackTheClients) {
    EXPECT_TRUE(registry.evictCache(fileA).empty()); // unknown: nothing changes
    bool isNew = false;
    wkCacheReader* old = registry.openCache(client[0], fileA, isNew);
    registry.openCache(client[1], fileA, isNew);
    EXPECT_EQ(registry.evictCache(fileA),
              (std::vector<wkCachePlaybackState*>{client[0], client[1]}));
    EXPECT_FALSE(registry.containsCache(fileA));
    EXPECT_EQ(registry.readerOfClient(client[0]), nullptr);
    wkCacheReader* fresh = registry.openCache(client[0], fileA, isNew);
    EXPECT_TRUE(isNew);
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(fresh->status(), kStatusOk);
    (void)old;
}

TEST_F(CacheRegistry, ReleasingAnUnknownClientStillSweepsEmptyEntries) {
    bool isNew = false;
    registry.openCache(client[0], fileA, isNew);
    registry.openCache(client[1], fileB, isNew);
    registry.findEntryOfClient(client[0])->clients.clear();
    registry.releaseClient(client[3]);
    EXPECT_FALSE(registry.containsCache(fileA));
    EXPECT_TRUE(registry.containsCache(fileB));
    EXPECT_EQ(registry.entries().size(), 1u);
}

TEST_F(CacheRegistry, MissingFileReloadsAtEachLookupUntilItExists) {
    const auto path = dir.file("late.wkc");
    const WStr late(path.c_str());
    bool isNew = false;
    wkCacheReader* reader = registry.openCache(client[0], late, isNew);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->status(), kStatusFileNotFound);
    EXPECT_TRUE(registry.containsCache(late)); // entered all the same
    EXPECT_EQ(registry.readerOfClient(client[0])->status(), kStatusFileNotFound);

    std::filesystem::copy_file(std::filesystem::path(fileA.ToCStr().str()), path);
    EXPECT_EQ(registry.readerOfClient(client[0]), reader);
    EXPECT_EQ(reader->status(), kStatusOk);
    EXPECT_EQ(reader->cacheNumNodes(), 1);
}

TEST_F(CacheRegistry, ReaderThatLostItsDataIsRebuiltButCancelIsNoError) {
    bool isNew = false;
    wkCacheReader* reader = registry.openCache(client[0], fileA, isNew);
    reader->clearCache();
    reader->setStatus(kStatusCancelled);
    EXPECT_EQ(registry.findEntryOfClient(client[0])->entryReader()->getIndex(), nullptr);
    reader->setStatus(kStatusReadPastEOF);
    EXPECT_NE(registry.findEntryOfClient(client[0])->entryReader()->getIndex(), nullptr);
    EXPECT_EQ(reader->status(), kStatusOk);
}

TEST_F(CacheRegistry, KeysAreExactText) {
    bool isNew = false;
    registry.openCache(client[0], fileA, isNew);
    const WStr otherCase = fileA.Substr(0, fileA.Length() - 3) + WStr(L"WKC");
    EXPECT_FALSE(registry.containsCache(otherCase));
    EXPECT_TRUE(registry.containsCache(fileA));
}
