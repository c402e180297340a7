// How the tool writes every output file. Use it for any new output too.
//
//   OutputFile out(path, "--obj", {inputs...});   // refuses an output that is an input
//   WriteSomething(out.stream());
//   out.commit();                                  // or let it go out of scope: nothing changes
//
// A regular (or new) file is written under a temporary name beside it (host/FileReplacement.h),
// flushed to the disk and renamed over the target by commit(); any other way out leaves the old
// file as it was and no temporary behind, and the next write of the same target clears one that
// a killed run left. A link is written through, as a shell's `>` does: the file it points to is
// made or replaced and the link stays, even when that file does not exist yet (a dangling link).
// As Unix tools do, "-" is stdout, and a FIFO or a device (/dev/null, a terminal) is written
// in place. A folder, an output in a folder that does not exist, or one that is one of the
// command's inputs (the same file, by any name), is refused before anything is written.
#pragma once

#include "host/FileReplacement.h"

#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace wkcli {

// Throws CommandError (bad input) when `path` names a folder, lies in a missing folder or is the
// same file as one of `inputs`; `option` names the output in the message ("--obj"). A command
// calls it before its work, so that a long run does not end in this error.
void RefuseOutput(const std::string& path, const std::string& option,
                  const std::vector<std::string>& inputs);

class OutputFile {
public:
    // Checks with RefuseOutput and opens; throws CommandError (bad input) when it cannot.
    OutputFile(const std::string& path, const std::string& option,
               const std::vector<std::string>& inputs = {});
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::ostream& stream();
    // Flushes, syncs and renames into place; throws CommandError (bad input) when any of it
    // fails (a full disk, a file-size limit), with the old file kept.
    void commit();

private:
    std::string path;
    std::unique_ptr<FileReplacement> replacement; // null for stdout and special files
    std::ofstream file;                           // not open for stdout
};

// Flushes stdout and throws CommandError (bad input) when anything written to it was lost
// (`info > /dev/full`).
void FlushStdout();

} // namespace wkcli
