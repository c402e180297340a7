// wkCacheBase: the common base of the cache reader and writer. It owns the file handle and the
// file's name, holds the time range, the version and one status code, and carries the progress
// callback.
//
// Nothing is thrown across this class: every operation answers a bool and leaves a status code,
// whose text the panels show as it stands.
#pragma once

#include "host/Strings.h"
#include "host/Time.h"

#include <cstdint>
#include <cstdio>
#include <memory>

namespace WelkardTools {

// Called by long operations with what is done so far and the total; false asks the operation
// to stop.
using ProgressCallback = bool (*)(void* context, std::int32_t done, std::int32_t total);

// Status codes. Scripts and panels see the numbers: keep them.
enum wkCacheStatus : std::int32_t {
    kStatusOk = 0,
    kStatusFileNotFound = 1, // the file could not be opened
    kStatusNoFile = 2,       // an access was tried with no open file
    kStatusReadPastEOF = 3,  // a read came up short at the end of the file
    kStatusFileError = 4,    // any other read, write, seek or tell failure
    kStatusException = 5,    // an exception was caught inside an operation
    kStatusInvalidCache = 6, // the file is not a valid cache
    kStatusCancelled = 7,    // the progress callback said stop
};

// The text of a status code; the empty text for 0 and for codes outside the table.
WStr wkCacheStatusText(std::int32_t code);

class wkCacheBase {
public:
    virtual ~wkCacheBase();

    wkCacheBase(const wkCacheBase&) = delete;
    wkCacheBase& operator=(const wkCacheBase&) = delete;

    // Opens the file unless it is open: "rb" for a reader, "wb" for a writer. A path that
    // cannot be opened as a file (missing, a folder, no permission) gives status 1.
    bool openFile();
    void closeFile();
    bool isOpen() const { return file != nullptr; }

    // fseek. With no open file: status 2, whatever failureStatus says; a failed seek:
    // failureStatus.
    bool seekFile(std::int32_t offset, int origin, std::int32_t failureStatus);

    void setStatus(std::int32_t code) { status_ = code; }
    std::int32_t status() const { return status_; }
    WStr statusText() const { return wkCacheStatusText(status_); }
    // Any status but 0 and 7: a cancelled operation is not an error.
    bool hasError() const { return status_ != kStatusOk && status_ != kStatusCancelled; }

    void setProgressCallback(ProgressCallback callback, void* context);
    void clearProgressCallback();

    const WStr& fileName() const { return fileName_; }
    // The size measured when the reader was made (0 if it could not be opened then). It is kept
    // in 64 bits so that a file beyond the format's 2 GiB can be told apart and refused.
    std::int64_t fileSize() const { return fileSize_; }
    Interval range() const { return Interval(start, end); }
    TimeValue step() const { return step_; }
    std::int32_t getVersion() const { return version; }

protected:
    // For reading: measures the file's size now and closes it again; sets no status.
    explicit wkCacheBase(const WStr& fileName);
    // For writing: touches no file.
    wkCacheBase(const WStr& fileName, std::int32_t version, Interval range, TimeValue step);

    // One read of `count` items of `size` bytes, with the statuses of a single read: no open
    // file 2; a short read 3 at the end of the file, else 4. The caller clears what it must.
    bool readItems(void* dest, std::size_t size, std::size_t count);
    std::FILE* stream() const { return file.get(); }

    struct FileCloser {
        void operator()(std::FILE* f) const { std::fclose(f); }
    };

    // Fields in the order of the design; the four with accessors of the same name carry an
    // underscore.
    bool isWriter;
    std::int32_t status_ = kStatusOk;
    WStr fileName_;
    std::int64_t fileSize_ = 0;
    std::unique_ptr<std::FILE, FileCloser> file;
    TimeValue start = TIME_NegInfinity;
    TimeValue end = TIME_NegInfinity;
    TimeValue step_ = 0;
    std::int32_t version = 0;
    ProgressCallback progressCallback = nullptr;
    void* progressContext = nullptr;
};

} // namespace WelkardTools
