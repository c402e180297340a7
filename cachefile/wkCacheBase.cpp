#include "cachefile/wkCacheBase.h"

#include "host/Path.h"

#include <filesystem>
#include <system_error>

namespace WelkardTools {

namespace {

// A reader opens regular files only (links to them included): fopen would accept a folder here,
// whose reads then fail as I/O errors, or a pipe, which would block until someone writes to it.
// Anything else is "File not found.". A writer may create a file, but not replace a non-file.
std::FILE* openCacheFile(const WStr& fileName, bool forWriting) {
    const std::filesystem::path path = MaxSDK::Util::Path(fileName).ToFilesystemPath();
    std::error_code ec;
    const std::filesystem::file_status st = std::filesystem::status(path, ec);
    const bool regular = std::filesystem::is_regular_file(st);
    if (!regular && (!forWriting || std::filesystem::exists(st)))
        return nullptr;
    return std::fopen(path.c_str(), forWriting ? "wb" : "rb");
}

} // namespace

WStr wkCacheStatusText(std::int32_t code) {
    switch (code) {
    case kStatusFileNotFound:
        return L"File not found.";
    case kStatusNoFile:
    case kStatusFileError:
        return L"Unknown file error.";
    case kStatusReadPastEOF:
        return L"Read past EOF.";
    case kStatusException:
        return L"Unhandled exception.";
    case kStatusInvalidCache:
        return L"Invalid cache file.";
    case kStatusCancelled:
        return L"Operation cancelled.";
    default:
        return WStr();
    }
}

wkCacheBase::wkCacheBase(const WStr& fileName) : isWriter(false), fileName_(fileName) {
    std::unique_ptr<std::FILE, FileCloser> probe(openCacheFile(fileName_, false));
    if (probe && std::fseek(probe.get(), 0, SEEK_END) == 0) {
        const long size = std::ftell(probe.get());
        fileSize_ = size < 0 ? 0 : static_cast<std::int64_t>(size);
    }
}

wkCacheBase::wkCacheBase(const WStr& fileName, std::int32_t version_, Interval range,
                         TimeValue step)
    : isWriter(true), fileName_(fileName), start(range.Start()), end(range.End()), step_(step),
      version(version_) {}

wkCacheBase::~wkCacheBase() = default;

bool wkCacheBase::openFile() {
    if (file)
        return true;
    file.reset(openCacheFile(fileName_, isWriter));
    if (!file) {
        status_ = kStatusFileNotFound;
        return false;
    }
    // A reader reads in large blocks and whole rows of its own, and seeks before each row: a
    // stdio buffer would only copy the bytes once more, and could answer a row from bytes that
    // a file which shrank since no longer holds.
    if (!isWriter)
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return true;
}

void wkCacheBase::closeFile() {
    file.reset();
}

bool wkCacheBase::seekFile(std::int32_t offset, int origin, std::int32_t failureStatus) {
    if (!file) {
        status_ = kStatusNoFile;
        return false;
    }
    if (std::fseek(file.get(), offset, origin) != 0) {
        status_ = failureStatus;
        return false;
    }
    return true;
}

bool wkCacheBase::readItems(void* dest, std::size_t size, std::size_t count) {
    if (!file) {
        status_ = kStatusNoFile;
        return false;
    }
    if (count == 0)
        return true; // nothing asked, nothing short (and no buffer to hand to fread)
    if (std::fread(dest, size, count, file.get()) < count) {
        status_ = std::feof(file.get()) ? kStatusReadPastEOF : kStatusFileError;
        return false;
    }
    return true;
}

void wkCacheBase::setProgressCallback(ProgressCallback callback, void* context) {
    progressCallback = callback;
    progressContext = context;
}

void wkCacheBase::clearProgressCallback() {
    progressCallback = nullptr;
    progressContext = nullptr;
}

} // namespace WelkardTools
