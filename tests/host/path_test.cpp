#include "host/FileName.h"
#include "host/Path.h"

#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

namespace {

using MaxSDK::Util::Path;

struct Split {
    WStr path, file, extension;
};

Split split(const wchar_t* name) {
    Split s;
    SplitFilename(WStr(name), &s.path, &s.file, &s.extension);
    return s;
}

void expectSplit(const wchar_t* name, const wchar_t* path, const wchar_t* file,
                 const wchar_t* extension) {
    const Split s = split(name);
    const std::string label = WStr(name).ToCStr().str();
    EXPECT_EQ(s.path, WStr(path)) << label;
    EXPECT_EQ(s.file, WStr(file)) << label;
    EXPECT_EQ(s.extension, WStr(extension)) << label;
}

TEST(SplitFilename, FolderNameAndExtension) {
    expectSplit(L"/data/shots/a.wkc", L"/data/shots", L"a", L".wkc");
    expectSplit(L"C:\\shots\\Rock.Smoke.WKC", L"C:\\shots", L"Rock.Smoke", L".WKC");
    expectSplit(L"mixed\\sep/x.y", L"mixed\\sep", L"x", L".y");
    expectSplit(L"a.wkc", L"", L"a", L".wkc");
    expectSplit(L"/a.wkc", L"/", L"a", L".wkc");
    expectSplit(L"/data/noext", L"/data", L"noext", L"");
    expectSplit(L"/data.d/noext", L"/data.d", L"noext", L"");
    expectSplit(L"/data/", L"/data", L"", L"");
    expectSplit(L"", L"", L"", L"");
    expectSplit(L"name.", L"", L"name", L".");
}

TEST(SplitFilename, LeadingDotsAreNotAnExtension) {
    expectSplit(L"/home/u/.hidden", L"/home/u", L".hidden", L"");
    expectSplit(L"/home/u/.hidden.wkc", L"/home/u", L".hidden", L".wkc");
    expectSplit(L"..", L"", L"..", L"");
    expectSplit(L"../..a.b", L"..", L"..a", L".b");
}

TEST(SplitFilename, OutPointersMayBeNull) {
    WStr file;
    SplitFilename(WStr(L"/x/y.wkc"), nullptr, &file, nullptr);
    EXPECT_EQ(file, WStr(L"y"));
    SplitFilename(WStr(L"/x/y.wkc"), nullptr, nullptr, nullptr);
}

TEST(Path, RemoveLeafGivesTheFolder) {
    struct Case {
        const wchar_t* in;
        const wchar_t* out;
    };
    const Case cases[] = {
        {L"/a/b/c.wkc", L"/a/b"},
        {L"/a/b/c/", L"/a/b"},
        {L"a//b", L"a"},
        {L"c.wkc", L""},
        {L"/c.wkc", L"/"},
        {L"/", L"/"},
        {L"", L""},
        {L"C:\\x\\y.wkc", L"C:\\x"},
    };
    for (const Case& c : cases) {
        Path p{WStr(c.in)};
        EXPECT_EQ(p.RemoveLeaf().GetString(), WStr(c.out)) << WStr(c.in).ToCStr().data();
    }
}

TEST(Path, MaterialLibraryBesideTheCache) {
    // Folder, separator, and the leaf with its last three characters replaced.
    auto libraryOf = [](const wchar_t* cache) {
        Path folder{WStr(cache)};
        folder.RemoveLeaf().AddTrailingBackslash();
        WStr leaf = Path(WStr(cache)).GetLeaf();
        leaf.remove(leaf.Length() - 3);
        return folder.GetString() + leaf + L"mat";
    };
    EXPECT_EQ(libraryOf(L"/shots/a.wkc"), WStr(L"/shots/a.mat"));
    EXPECT_EQ(libraryOf(L"/a.wkc"), WStr(L"/a.mat"));
    EXPECT_EQ(libraryOf(L"a.wkc"), WStr(L"a.mat")) << "a bare name stays in the current folder";
}

TEST(Path, TrailingSeparators) {
    EXPECT_EQ(Path(L"/a").AddTrailingBackslash().GetString(), WStr(L"/a/"));
    EXPECT_EQ(Path(L"/a/").AddTrailingBackslash().GetString(), WStr(L"/a/"));
    EXPECT_EQ(Path(L"C:\\a\\").AddTrailingBackslash().GetString(), WStr(L"C:\\a\\"));
    EXPECT_TRUE(Path().AddTrailingBackslash().IsEmpty());
    EXPECT_EQ(Path(L"/a//").RemoveTrailingBackslashes().GetString(), WStr(L"/a"));
    EXPECT_EQ(Path(L"//").RemoveTrailingBackslashes().GetString(), WStr(L"/"));
    EXPECT_TRUE(Path(L"x\\").HasTrailingBackslash());
    EXPECT_FALSE(Path(L"x").HasTrailingBackslash());
}

TEST(Path, LeafParentAndAppend) {
    const Path p(L"/a/b/c.wkc");
    EXPECT_EQ(p.GetLeaf(), WStr(L"c.wkc"));
    EXPECT_EQ(p.GetParent().GetString(), WStr(L"/a/b"));
    EXPECT_EQ(p.GetParent().GetParent().GetParent().GetString(), WStr(L"/"));
    EXPECT_EQ(Path(L"/a/b/").GetLeaf(), WStr(L"b"));
    EXPECT_EQ(Path(L"/").GetLeaf(), WStr());
    EXPECT_EQ(Path(p).StripToLeaf(), Path(L"c.wkc"));

    EXPECT_EQ(Path(L"/a").Append(WStr(L"b.wkc")).GetString(), WStr(L"/a/b.wkc"));
    EXPECT_EQ(Path(L"/a/").Append(Path(L"/b")).GetString(), WStr(L"/a/b"));
    EXPECT_EQ(Path().Append(WStr(L"b")).GetString(), WStr(L"b"));
    EXPECT_EQ(Path(L"/a").Append(WStr()).GetString(), WStr(L"/a"));
}

TEST(Path, FilesystemFormIsUtf8WithForwardSlashes) {
    const Path p(L"C:\\caches\\\x00E9t\x00E9.wkc");
    EXPECT_EQ(p.ToFilesystemPath().native(), std::string("C:/caches/\xC3\xA9t\xC3\xA9.wkc"));
    EXPECT_EQ(p.ToFilesystemPath().filename().native(), std::string("\xC3\xA9t\xC3\xA9.wkc"));
}

} // namespace
