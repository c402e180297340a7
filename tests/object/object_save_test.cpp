// The object's own scene-file chunks: bytes as the layout gives them, trimming at save and not
// at load, unknown chunks skipped, and damaged data refused without harm.
#include "host/headless/HeadlessChunkFile.h"
#include "tests/object/CacheObjectFixture.h"

using namespace objtest;

namespace {

class ObjectSaveTest : public CacheObjectTest {
protected:
    Bytes saved() {
        HeadlessChunkWriter writer;
        EXPECT_EQ(object->Save(writer), IO_OK);
        return writer.bytes();
    }
    int load(wkCache_obj& into, const Bytes& bytes) {
        HeadlessChunkReader reader(bytes);
        return into.Load(reader);
    }
};

// Little-endian 32-bit words as the test writes them.
void word(Bytes& b, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

TEST_F(ObjectSaveTest, ChunksHoldTheTrimmedSelectionAndGroups) {
    useFile(path);
    object->updateCacheMesh(0); // the reader knows 2 elements
    object->setElementSelection({1, 5});
    object->addGroup(L"G");
    object->playbackRecord().groups.setGroupElements(L"G", {0, 1, 7}, false);

    Bytes expected = {0x00, 0x01, 14, 0, 0, 0}; // selection: 2 bits, bit 1 set
    word(expected, 2);
    word(expected, 0x2);
    for (const std::uint8_t b : {0x00, 0x02, 53, 0, 0, 0})
        expected.push_back(b);
    word(expected, 1); // one group
    word(expected, 5); // its version
    word(expected, 1); // name length
    expected.push_back('G');
    word(expected, 2); // elements 0 and 1; 7 is beyond the cache
    word(expected, 0);
    word(expected, 1);
    word(expected, 1); // Hold In
    expected.push_back(1);
    word(expected, 0); // offset 0.0f
    word(expected, 0); // material id
    expected.push_back(1);
    word(expected, 0); // distance
    word(expected, 0); // age
    const Bytes bytes = saved();
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(object->playbackRecord().groups.at(0).elements, (std::set<std::uint32_t>{0, 1}));

    // An unknown chunk first is skipped; the selected group is not kept.
    Bytes withUnknown = {0x00, 0x03, 8, 0, 0, 0, 0xAB, 0xCD};
    withUnknown.insert(withUnknown.end(), bytes.begin(), bytes.end());
    auto loaded = NewCacheObject(host, true);
    ASSERT_EQ(load(*loaded, withUnknown), IO_OK);
    EXPECT_EQ(loaded->elementSelection(), (std::set<std::uint32_t>{1}));
    ASSERT_EQ(loaded->playbackRecord().groups.count(), 1);
    EXPECT_EQ(loaded->playbackRecord().groups.at(0).elements, (std::set<std::uint32_t>{0, 1}));
    EXPECT_EQ(loaded->playbackRecord().groups.selected(), -1);
}

TEST_F(ObjectSaveTest, WithoutACacheNothingIsTrimmedAndDamageIsRefused) {
    object->setElementSelection({4});
    object->addGroup(L"G");
    object->playbackRecord().groups.setGroupElements(L"G", {9}, false);
    const Bytes bytes = saved();
    ASSERT_EQ(Bytes(bytes.begin(), bytes.begin() + 10), (Bytes{0, 1, 10, 0, 0, 0, 0, 0, 0, 0}));
    auto loaded = NewCacheObject(host, true);
    ASSERT_EQ(load(*loaded, bytes), IO_OK);
    EXPECT_EQ(loaded->playbackRecord().groups.at(0).elements, (std::set<std::uint32_t>{9}));

    // Every cut inside a chunk, and a bit count no chunk can hold, is an error.
    for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
        const int result = load(*loaded, Bytes(bytes.begin(), bytes.begin() + cut));
        EXPECT_EQ(result, cut == 10 ? IO_OK : IO_ERROR) << "cut at " << cut;
    }
    Bytes huge = {0, 1, 10, 0, 0, 0};
    word(huge, 0x7FFFFFFF);
    EXPECT_EQ(load(*loaded, huge), IO_ERROR);
    EXPECT_TRUE(loaded->elementSelection().empty());
}

} // namespace
