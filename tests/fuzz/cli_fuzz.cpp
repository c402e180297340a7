// libFuzzer entry for the command line of the wkcache tool: the input, split at NUL bytes, is the
// argument list after "wkcache". Every run must end in one of the documented exit codes (main
// turns every way out into one), without a crash, sanitizer report or hang.
//
// Built only by scripts/fuzz.sh (target cli_fuzz), with the tool's sources and its main renamed
// (see tests/CMakeLists.txt). It runs in a scratch folder of its own, so that whatever a command
// writes stays there; libFuzzer's -close_fd_mask=3 keeps the tool's output quiet.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

int wkcacheToolMain(int argc, char** argv);

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const std::filesystem::path scratch =
        std::filesystem::temp_directory_path() / "wkcache-cli-fuzz";
    std::filesystem::create_directories(scratch);
    std::filesystem::current_path(scratch);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words{"wkcache"};
    std::string word;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            words.push_back(word);
            word.clear();
        } else {
            word += static_cast<char>(data[i]);
        }
    }
    if (!word.empty())
        words.push_back(word);
    std::vector<char*> argv;
    for (std::string& w : words)
        argv.push_back(w.data());
    argv.push_back(nullptr);
    const int code = wkcacheToolMain(static_cast<int>(words.size()), argv.data());
    if (code != 0 && code != 1 && code != 2 && code != 130)
        std::abort(); // an exit code outside the documented four
    return 0;
}
