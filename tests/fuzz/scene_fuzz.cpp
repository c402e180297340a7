// libFuzzer entry for scene files: the input is loaded as the text of a scene into a fresh
// headless host. A SceneFileError is the expected answer to a bad file; anything else that
// escapes, a crash, a sanitizer report, a hang or a large allocation is a finding.
//
// The unit tests replay tests/fuzz/scene_corpus through FuzzSceneInput; the libFuzzer target
// scene_fuzz (scripts/fuzz.sh) defines WKCACHE_FUZZ_ENTRY to get the entry point.
#include "host/headless/HeadlessHost.h"
#include "tools/common/scene_file.h"

#include <cstdint>
#include <string>

int FuzzSceneInput(const std::uint8_t* data, std::size_t size) {
    HeadlessHost host;
    try {
        (void)wkcli::LoadSceneText(std::string(reinterpret_cast<const char*>(data), size), host);
    } catch (const wkcli::SceneFileError&) {
    }
    return 0;
}

#ifdef WKCACHE_FUZZ_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return FuzzSceneInput(data, size);
}
#endif
