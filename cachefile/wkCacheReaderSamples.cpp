// wkCacheReader: rows of the sample table in and out of memory.
#include "cachefile/wkCacheReader.h"

#include "cachefile/wkCacheFormat.h"

#include <algorithm>
#include <climits>

namespace WelkardTools {

bool wkCacheReader::fetchSample(std::int32_t sample, bool preloading) {
    if (index && index->loadedSamples.isLoaded(sample))
        return true;
    status_ = kStatusOk;
    const auto failAt = [this, sample] {
        failedSampleIndex = sample;
        return false;
    };
    if (!hasData()) {
        status_ = kStatusNoFile;
        return failAt();
    }
    if (!openFile())
        return failAt();

    // One seek and one read of the row. Bytes that overlapping rows brought in already are not
    // read again: a sane file has none, and a file whose stride is smaller than its rows is then
    // read once rather than once per row.
    wkCacheSampleRows& rows = index->loadedSamples;
    const std::int32_t rowAt = rows.rowOffset(sample);
    const wkCacheSampleRows::Span missing = rows.missingPart(rowAt);
    const std::int64_t seekTo = missing.length > 0 ? missing.offset : rowAt;
    if (seekTo > INT32_MAX) {
        status_ = kStatusFileError; // beyond what a 32-bit seek reaches
        return failAt();
    }
    if (!seekFile(static_cast<std::int32_t>(seekTo), SEEK_SET, kStatusFileError))
        return failAt();
    if (missing.length > 0) {
        rowBuffer.resize(static_cast<std::size_t>(missing.length));
        if (!readItems(rowBuffer.data(), 1, rowBuffer.size())) {
            clearCache();
            return failAt();
        }
        rows.storeBytes(missing.offset, rowBuffer.data(), missing.length);
    }
    rows.markRead(sample);

    // Stream mode: the file closes by itself once the last missing row has arrived.
    if (!preloading && keepFileOpen && isPreloaded())
        closeFile();
    return true;
}

bool wkCacheReader::fetchSampleAndRelease(std::int32_t sample) {
    const bool fetched = fetchSample(sample, false);
    if (!keepFileOpen)
        closeFile();
    return fetched;
}

bool wkCacheReader::isPreloaded() const {
    return hasData() && index->loadedSamples.loadedCount() == header->cacheNumSamples;
}

bool wkCacheReader::preload() {
    if (isPreloaded())
        return true;
    if (!hasData() || header->cacheNumSamples < 1)
        return true;
    status_ = kStatusOk;
    const std::int32_t numSamples = header->cacheNumSamples;
    const auto stride = static_cast<std::uint32_t>(header->sampleStride);
    // Progress in 32 bits, as the callback takes it.
    const auto total = static_cast<std::int32_t>(static_cast<std::uint32_t>(numSamples) * stride);
    std::uint32_t done = 0;
    if (index->loadedSamples.rowBytes() == 0 && progressCallback == nullptr)
        return preloadEmptyRows();
    for (std::int32_t s = 0; s < numSamples; ++s) {
        if (!fetchSample(s, true)) {
            dropSamples();
            return false;
        }
        done += stride;
        if (progressCallback != nullptr &&
            !progressCallback(progressContext, static_cast<std::int32_t>(done), total)) {
            status_ = kStatusCancelled;
            return false;
        }
    }
    return true;
}

// A cache without nodes has rows of no bytes: fetching one opens the file if needed and seeks,
// nothing more, and only a seek to a negative address (a row at or beyond 2 GiB) can fail. A
// header may claim two billion such rows, so the loop of preload is worked out in one step.
bool wkCacheReader::preloadEmptyRows() {
    wkCacheSampleRows& rows = index->loadedSamples;
    const std::int32_t numSamples = header->cacheNumSamples;
    const std::int32_t firstToRead = rows.firstUnloaded();
    if (!openFile()) {
        failedSampleIndex = firstToRead;
        rows.markLoaded(0, firstToRead);
        dropSamples();
        return false;
    }
    // Addresses climb by the stride from the table's offset; the first sample whose address
    // reaches 2^31 is the first negative one, and no sample before it is.
    const std::int64_t stride = header->sampleStride;
    const std::int64_t firstNegative =
        ((std::int64_t{1} << 31) - header->sampleTableOffset + stride - 1) / stride;
    if (firstNegative >= numSamples) {
        rows.markLoaded(0, numSamples);
        return true;
    }
    const auto failing = static_cast<std::int32_t>(firstNegative);
    rows.markLoaded(0, failing);
    status_ = kStatusFileError;
    failedSampleIndex = failing;
    dropSamples();
    return false;
}

void wkCacheReader::dropSamples() {
    if (!hasData() || index->loadedSamples.loadedCount() == 0)
        return;
    index->loadedSamples.clear();
}

bool wkCacheReader::isSampleLoaded(std::int32_t sample) const {
    return index && index->loadedSamples.isLoaded(sample);
}

std::int32_t wkCacheReader::loadedSampleCount() const {
    return index ? index->loadedSamples.loadedCount() : 0;
}

Matrix3 wkCacheReader::sampleTransform(std::int32_t node, std::int32_t sample) const {
    return index ? index->loadedSamples.transform(node, sample) : Matrix3();
}

bool wkCacheReader::sampleVisible(std::int32_t node, std::int32_t sample) const {
    return index && index->loadedSamples.visible(node, sample);
}

} // namespace WelkardTools
