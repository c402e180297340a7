#include "elements/wkCacheElementFrames.h"

#include "cachefile/wkCacheFormat.h"
#include "host/Path.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace WelkardTools {

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

FilePtr openForReading(const WStr& path) {
    const std::filesystem::path p = MaxSDK::Util::Path(path).ToFilesystemPath();
    std::error_code ec;
    if (!std::filesystem::is_regular_file(p, ec))
        return nullptr;
    return FilePtr(std::fopen(p.c_str(), "rb"));
}

// Reads up to `count` 32-bit words at `offset`; words the file does not hold stay 0, as the
// buffers of an unchecked read would.
bool readWords(std::FILE* f, std::int64_t offset, std::int32_t* out, std::size_t count) {
    if (count == 0)
        return true;
    if (offset < 0 || std::fseek(f, static_cast<long>(offset), SEEK_SET) != 0)
        return false;
    const std::size_t got = std::fread(out, 4, count, f);
    wkCacheFormat::FixWordOrder(out, got);
    return got == count;
}

} // namespace

void wkCacheElementFrames::reset() {
    *this = wkCacheElementFrames();
}

bool wkCacheElementFrames::parseBlockHead(const WStr& path) {
    if (parsed)
        return true;
    const FilePtr f = openForReading(path);
    if (!f)
        return false;

    unsigned char reserved[wkCacheFormat::kReservedSize] = {};
    (void)std::fread(reserved, 1, sizeof reserved, f.get()); // a short file leaves zeros
    header = wkCacheHeader::Decode(reserved);
    std::copy(header.magic, header.magic + sizeof magic, magic);
    elementBlockOffsetCopy =
        wkCacheFormat::LoadI32(reserved + wkCacheFormat::kElementBlockOffsetCopyAt);
    elementBlockOffset = wkCacheFormat::LoadI32(reserved + wkCacheFormat::kElementBlockOffsetAt);
    if (header.fileVersion != 3)
        return false;

    parsed = true;
    frameCount = keyFrameCount = pointCount = elementCount = 0;
    keyFrames.clear();
    elementPointCounts.clear();
    keys.clear();
    if (std::fseek(f.get(), 0, SEEK_END) != 0)
        return true;
    fileSize = std::ftell(f.get());

    std::int32_t head[4] = {};
    if (elementBlockOffset >= 0 && elementBlockOffset <= fileSize)
        readWords(f.get(), elementBlockOffset, head, 4);
    const std::int32_t frames = head[0];
    const std::int32_t keyFramesStored = head[1];
    const std::int32_t points = head[2];
    const std::int32_t elements = head[3];

    // Only a head whose lists and keys lie inside the file is taken.
    if (frames < 0 || keyFramesStored < 0 || points < 0 || elements < 0)
        return true;
    const std::int64_t rest = fileSize - elementBlockOffset - wkCacheFormat::kElementBlockHeadSize;
    const std::int64_t listBytes = 4 * (std::int64_t{elements} + keyFramesStored);
    if (rest < listBytes)
        return true;
    const std::int64_t keyRoom = rest - listBytes;
    if (keyFramesStored > 0 && points > keyRoom / 12 / keyFramesStored)
        return true;

    std::vector<std::int32_t> counts(static_cast<std::size_t>(elements));
    std::vector<std::int32_t> frameNumbers(static_cast<std::size_t>(keyFramesStored));
    const std::int64_t listsAt =
        std::int64_t{elementBlockOffset} + wkCacheFormat::kElementBlockHeadSize;
    if (!readWords(f.get(), listsAt, counts.data(), counts.size()) ||
        !readWords(f.get(), listsAt + 4 * std::int64_t{elements}, frameNumbers.data(),
                   frameNumbers.size()))
        return true; // the file shrank under us: no block

    frameCount = frames;
    keyFrameCount = keyFramesStored;
    pointCount = points;
    elementCount = elements;
    elementPointCounts = std::move(counts);
    keyFrames = std::move(frameNumbers);
    return true;
}

std::int64_t wkCacheElementFrames::keyOffset(std::int32_t key) const {
    return std::int64_t{elementBlockOffset} + wkCacheFormat::kElementBlockHeadSize +
           4 * (std::int64_t{elementCount} + keyFrameCount) + std::int64_t{key} * keyBytes();
}

} // namespace WelkardTools
