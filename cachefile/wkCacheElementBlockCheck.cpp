#include "cachefile/wkCacheElementBlockCheck.h"

#include "cachefile/wkCacheFormat.h"
#include "cachefile/wkCacheHeader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <vector>

namespace WelkardTools {

namespace {

struct BlockPlace {
    bool version3 = false;
    wkCacheHeader header;
    std::int64_t offset = 0;
    std::int64_t fileSize = 0;
};

BlockPlace locate(std::ifstream& in) {
    BlockPlace place;
    unsigned char reserved[wkCacheFormat::kReservedSize] = {};
    in.seekg(0, std::ios::end);
    place.fileSize = static_cast<std::int64_t>(in.tellg());
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(reserved), sizeof reserved))
        return place;
    place.header = wkCacheHeader::Decode(reserved);
    place.version3 = place.header.IsValid() && place.header.fileVersion == 3;
    place.offset = wkCacheFormat::LoadI32(reserved + wkCacheFormat::kElementBlockOffsetAt);
    return place;
}

bool readWords(std::ifstream& in, std::vector<std::int32_t>& words) {
    std::vector<unsigned char> bytes(words.size() * 4);
    if (!in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size())))
        return false;
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = wkCacheFormat::LoadI32(bytes.data() + 4 * i);
    return true;
}

} // namespace

bool HasElementBlock(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const BlockPlace place = in ? locate(in) : BlockPlace{};
    return place.version3 && place.offset != place.fileSize;
}

std::string CheckElementBlock(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "the file cannot be opened";
    const BlockPlace place = locate(in);
    if (!place.version3 || place.offset == place.fileSize)
        return {};
    const wkCacheHeader& h = place.header;
    const std::int64_t samplesEnd =
        std::int64_t{h.sampleTableOffset} + std::int64_t{h.cacheNumSamples} * h.sampleStride;
    const std::string at = "element block at " + std::to_string(place.offset) + ": ";
    if (place.offset < samplesEnd || place.offset > place.fileSize)
        return at + "the offset lies outside the file's " + std::to_string(samplesEnd) + " to " +
               std::to_string(place.fileSize) + " bytes behind the sample table";
    if (place.fileSize - place.offset < wkCacheFormat::kElementBlockHeadSize)
        return at + "the head is cut short";

    std::vector<std::int32_t> head(4);
    in.seekg(place.offset);
    if (!readWords(in, head))
        return at + "the head cannot be read";
    const std::int32_t frames = head[0];
    const std::int32_t keyFrames = head[1];
    const std::int32_t points = head[2];
    const std::int32_t elements = head[3];
    if (frames < 0 || keyFrames < 0 || points < 0 || elements < 0)
        return at + "a negative count in the head (frames " + std::to_string(frames) +
               ", key frames " + std::to_string(keyFrames) + ", points " + std::to_string(points) +
               ", elements " + std::to_string(elements) + ")";
    if (elements > h.cacheNumNodes)
        return at + std::to_string(elements) + " deforming elements in a cache of " +
               std::to_string(h.cacheNumNodes) + " nodes";
    // Counts of up to 2^31 each: their product of bytes may pass 64 bits, not a long double's
    // exact range of whole numbers that a file size can reach.
    const long double need = wkCacheFormat::kElementBlockHeadSize +
                             4.0L * (static_cast<long double>(elements) + keyFrames) +
                             12.0L * points * keyFrames;
    const std::int64_t have = place.fileSize - place.offset;
    if (static_cast<long double>(have) < need) {
        char needText[64];
        std::snprintf(needText, sizeof needText, "%.0Lf", need);
        return at + "cut short: " + std::to_string(have) + " of its " + needText +
               " bytes are in the file";
    }

    std::vector<std::int32_t> counts(static_cast<std::size_t>(elements));
    std::vector<std::int32_t> frameNumbers(static_cast<std::size_t>(keyFrames));
    if (!readWords(in, counts) || !readWords(in, frameNumbers))
        return at + "the lists cannot be read";
    std::int64_t sum = 0;
    for (std::size_t e = 0; e < counts.size(); ++e) {
        if (counts[e] < 0)
            return at + "element " + std::to_string(e) + " has a negative point count";
        sum += counts[e];
    }
    if (sum > points)
        return at + "the elements' " + std::to_string(sum) + " points exceed the key's " +
               std::to_string(points);
    for (std::size_t k = 0; k < frameNumbers.size(); ++k) {
        if (frameNumbers[k] < 0 || frameNumbers[k] > frames ||
            (k > 0 && frameNumbers[k] <= frameNumbers[k - 1]))
            return at + "key frame " + std::to_string(k) + " (frame " +
                   std::to_string(frameNumbers[k]) + ") is out of order or beyond the " +
                   std::to_string(frames) + " frames";
    }

    // Every key, in pieces of a megabyte: all floats finite.
    const std::int64_t floats = std::int64_t{3} * points * keyFrames;
    std::vector<unsigned char> chunk(std::size_t{1} << 20);
    for (std::int64_t done = 0; done < floats;) {
        const auto n = static_cast<std::size_t>(
            std::min<std::int64_t>(floats - done, static_cast<std::int64_t>(chunk.size() / 4)));
        if (!in.read(reinterpret_cast<char*>(chunk.data()), static_cast<std::streamsize>(4 * n)))
            return at + "a key cannot be read";
        for (std::size_t i = 0; i < n; ++i) {
            if (!std::isfinite(wkCacheFormat::LoadF32(chunk.data() + 4 * i))) {
                const std::int64_t index = done + static_cast<std::int64_t>(i);
                const std::int64_t perKey = std::int64_t{3} * points;
                return at + "key " + std::to_string(index / perKey) +
                       " holds a non-finite value "
                       "at point " +
                       std::to_string(index % perKey / 3);
            }
        }
        done += static_cast<std::int64_t>(n);
    }
    return {};
}

} // namespace WelkardTools
