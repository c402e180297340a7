// The object in a scene file: its element selection (chunk 0x0100) and its group list (chunk
// 0x0200). The host saves its two references; the selected group is not saved.
#include "object/wkCache_obj.h"

#include "cachefile/wkCacheRegistry.h"
#include "elements/wkCacheGroupChunk.h"
#include "host/BitArray.h"

#include <vector>

namespace {

constexpr std::uint16_t kSelectionChunkId = 0x0100;

// The group chunk's writer, over the scene writer.
class SaveSink final : public wkCacheByteSink {
public:
    explicit SaveSink(ISave& save_) : save(save_) {}
    bool write(std::span<const std::uint8_t> data) override {
        return save.Write(data.data(), data.size()) == IO_OK;
    }

private:
    ISave& save;
};

} // namespace

int wkCache_obj::Save(ISave& save) {
    BitArray bits;
    // Only a readable cache says how many elements there are; without one the groups are kept
    // as they are, so that they survive a scene saved without its cache file.
    WelkardTools::wkCacheReader* reader = theCacheRegistry.readerOfClient(playback.get());
    if (reader != nullptr && !reader->hasError() && reader->cacheNumNodes() > 0) {
        const std::int32_t n = reader->cacheNumNodes();
        bits.SetSize(n);
        for (const std::uint32_t element : selection)
            if (element < static_cast<std::uint32_t>(n))
                bits.Set(static_cast<int>(element));
        playback->groups.pruneElements(n);
    }
    save.BeginChunk(kSelectionChunkId);
    bits.Save(save);
    save.EndChunk();
    save.BeginChunk(kGroupsChunkId);
    SaveSink sink(save);
    saveGroups(playback->groups, sink);
    save.EndChunk();
    return IO_OK;
}

int wkCache_obj::Load(ILoad& load) {
    removeAllGroupsNoUndo();
    BitArray bits;
    int result = IO_OK;
    while (result == IO_OK) {
        const IOResult opened = load.OpenChunk();
        if (opened == IO_END)
            break;
        if (opened != IO_OK) {
            result = IO_ERROR;
            break;
        }
        if (load.CurChunkID() == kSelectionChunkId) {
            result = bits.Load(load);
        } else if (load.CurChunkID() == kGroupsChunkId) {
            std::vector<std::uint8_t> bytes(load.Remaining());
            if (load.Read(bytes.data(), bytes.size()) != IO_OK ||
                loadGroups(playback->groups, bytes) == wkCacheGroupIO::readError)
                result = IO_ERROR;
        }
        if (load.CloseChunk() != IO_OK)
            result = IO_ERROR;
    }
    selection.clear();
    for (int i = 0; i < bits.GetSize(); ++i)
        if (bits[i])
            selection.insert(static_cast<std::uint32_t>(i));
    return result;
}
