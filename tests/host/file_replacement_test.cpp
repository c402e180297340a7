// Writing through links: the link stays, and the file at the end of its chain is made or replaced.
#include "host/FileReplacement.h"
#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void replace(const fs::path& target, const std::string& content) {
    FileReplacement replacement(target);
    std::ofstream(replacement.temporary(), std::ios::binary) << content;
    ASSERT_TRUE(replacement.commit());
}

} // namespace

TEST(FileReplacement, WritesThroughLinksAlsoToAFileNotMadeYet) {
    cachetest::TempDir dir;
    const fs::path root = dir.file("");
    fs::create_directory(root / "takes");
    // out.wkc -> relative chain -> takes/real.wkc, which does not exist yet.
    fs::create_symlink("middle.wkc", root / "out.wkc");
    fs::create_symlink("takes/real.wkc", root / "middle.wkc");
    for (const std::string content : {"first", "second"}) {
        replace(root / "out.wkc", content);
        EXPECT_TRUE(fs::is_symlink(root / "out.wkc"));
        EXPECT_TRUE(fs::is_symlink(root / "middle.wkc"));
        EXPECT_EQ(contentOf(root / "takes/real.wkc"), content);
    }

    fs::create_symlink("loop_b", root / "loop_a");
    fs::create_symlink("loop_a", root / "loop_b");
    EXPECT_FALSE(FileReplacement::LinkTarget(root / "loop_a").has_value());
    EXPECT_EQ(FileReplacement::LinkTarget(root / "plain.wkc"), root / "plain.wkc");
}
