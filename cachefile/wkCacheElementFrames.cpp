#include "cachefile/wkCacheElementFrames.h"

#include "cachefile/wkCacheFormat.h"
#include "cachefile/wkCacheKeyPair.h"
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

// Reads `count` little-endian 32-bit values (words or floats) at `offset`; false unless all of
// them arrive. Values the file does not hold stay as they were, as the buffers of an unchecked
// read would.
template <class T> bool readValues(std::FILE* f, std::int64_t offset, T* out, std::size_t count) {
    static_assert(sizeof(T) == 4);
    if (count == 0)
        return true;
    if (offset < 0 || std::fseek(f, static_cast<long>(offset), SEEK_SET) != 0)
        return false;
    const std::size_t got = std::fread(out, 4, count, f);
    wkCacheFormat::FixWordOrder(out, got);
    return got == count;
}

// Element counts that do not fit the key: a negative one, or more points than a key holds.
bool countsFitKey(const std::vector<std::int32_t>& counts, std::int32_t points) {
    std::int64_t sum = 0;
    for (const std::int32_t c : counts) {
        if (c < 0)
            return false;
        sum += c;
    }
    return sum <= points;
}

// One element's slice of a frame: `count` floats blended from two keys. The weights are found
// once per element; the loop itself is a plain pass over three arrays.
void blendSlice(const float* left, const float* right, const wkCacheKeyWeights& w, float* out,
                std::size_t count) {
    const float lw = w.left;
    const float rw = w.right;
    for (std::size_t i = 0; i < count; ++i)
        out[i] = lw * left[i] + rw * right[i];
}

enum LoadType : std::int32_t { kStream = 0, kPerSample = 1, kPreLoad = 2 };

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
        readValues(f.get(), elementBlockOffset, head, 4);
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
    if (!readValues(f.get(), listsAt, counts.data(), counts.size()) ||
        !readValues(f.get(), listsAt + 4 * std::int64_t{elements}, frameNumbers.data(),
                    frameNumbers.size()))
        return true; // the file shrank under us: no block
    if (!countsFitKey(counts, points))
        return true;

    frameCount = frames;
    keyFrameCount = keyFramesStored;
    pointCount = points;
    elementCount = elements;
    elementPointCounts = std::move(counts);
    keyFrames = std::move(frameNumbers);
    return true;
}

bool wkCacheElementFrames::readKey(std::FILE* stream, std::int32_t key) {
    if (keys.find(key) != keys.end())
        return true;
    if (stream == nullptr || key < 0 || key >= keyFrameCount)
        return false;
    std::vector<float> values(static_cast<std::size_t>(3) * static_cast<std::size_t>(pointCount));
    if (!readValues(stream, keyOffset(key), values.data(), values.size()))
        return false;
    keys.emplace(key, std::move(values));
    return true;
}

void wkCacheElementFrames::fetchElementFrames(const WStr& path, const wkCacheFrameTimes& times,
                                              std::vector<float>& out) {
    out.clear();
    const std::int32_t loadType = times.loadType;
    if (loadType != kStream && loadType != kPerSample && loadType != kPreLoad)
        return;
    if (!parseBlockHead(path))
        return; // not version 3: no block
    if (elementCount <= 0 || pointCount <= 0 || keyFrameCount <= 0)
        return;

    // Elements with a time; a frame with fewer times than deforming elements stops early.
    const std::size_t elements =
        std::min(static_cast<std::size_t>(elementCount), times.sampleTimes.size());
    const std::int32_t numSamples = header.cacheNumSamples;
    const auto pairOf = [&](std::size_t e, wkCacheKeyWeights& weights) {
        const float position = normalisedPosition(times.sampleTimes[e], numSamples);
        const wkCacheKeyPair pair = findKeyPair(frameCount, keyFrames, position);
        weights = keyWeights(frameCount, keyFrames, pair, position);
        return pair;
    };
    const bool allKeysHeld = keys.size() == static_cast<std::size_t>(keyFrameCount);

    if (loadType == kPerSample) {
        // The least memory: nothing is kept, two whole keys per element are read at each frame.
        keys.clear();
        const FilePtr f = openForReading(path);
        if (!f)
            return;
        const auto keyFloats = static_cast<std::size_t>(3) * static_cast<std::size_t>(pointCount);
        std::vector<float> left(keyFloats);
        std::vector<float> right(keyFloats);
        std::size_t at = 0; // in floats
        for (std::size_t e = 0; e < elements; ++e) {
            wkCacheKeyWeights weights;
            const wkCacheKeyPair pair = pairOf(e, weights);
            if (!readValues(f.get(), keyOffset(pair.left), left.data(), keyFloats))
                return;
            // One key for both sides reads once; the blend is the same.
            const bool same = pair.right == pair.left;
            if (!same && !readValues(f.get(), keyOffset(pair.right), right.data(), keyFloats))
                return;
            const auto count =
                static_cast<std::size_t>(3) * static_cast<std::size_t>(elementPointCounts[e]);
            out.resize(out.size() + count);
            blendSlice(left.data() + at, (same ? left : right).data() + at, weights,
                       out.data() + out.size() - count, count);
            at += count;
        }
        return;
    }

    if (!allKeysHeld) {
        const FilePtr f = openForReading(path);
        if (loadType == kStream) {
            for (std::size_t e = 0; e < elements; ++e) {
                wkCacheKeyWeights weights;
                const wkCacheKeyPair pair = pairOf(e, weights);
                readKey(f.get(), pair.left);
                readKey(f.get(), pair.right);
            }
        } else {
            for (std::int32_t k = 0; k < keyFrameCount; ++k)
                readKey(f.get(), k);
        }
    }

    // From memory: each element looks its two keys up once and blends its slice.
    std::size_t total = 0;
    for (std::size_t e = 0; e < elements; ++e)
        total += static_cast<std::size_t>(elementPointCounts[e]);
    out.resize(3 * total);
    std::size_t at = 0; // in floats
    for (std::size_t e = 0; e < elements; ++e) {
        wkCacheKeyWeights weights;
        const wkCacheKeyPair pair = pairOf(e, weights);
        const auto left = keys.find(pair.left);
        const auto right = keys.find(pair.right);
        if (left == keys.end() || right == keys.end()) {
            out.resize(at); // a key that could not be read: no positions from here on
            return;
        }
        const auto count =
            static_cast<std::size_t>(3) * static_cast<std::size_t>(elementPointCounts[e]);
        blendSlice(left->second.data() + at, right->second.data() + at, weights, out.data() + at,
                   count);
        at += count;
    }
}

std::int64_t wkCacheElementFrames::keyOffset(std::int32_t key) const {
    return std::int64_t{elementBlockOffset} + wkCacheFormat::kElementBlockHeadSize +
           4 * (std::int64_t{elementCount} + keyFrameCount) + std::int64_t{key} * keyBytes();
}

} // namespace WelkardTools
