// Material libraries of the headless host, and the reader's library beside its cache file.
#include "cachefile/wkCacheReader.h"
#include "host/Materials.h"
#include "host/headless/HeadlessMaterials.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

#include <memory>

using namespace cachetest;

namespace {

MtlBaseLib sampleLibrary() {
    auto multi = std::make_shared<Mtl>(WStr(L"Body \"main\"\n\u00E9"));
    multi->SetNumSubMtls(3);
    multi->SetSubMtl(0, std::make_shared<Mtl>(WStr(L"Skin")));
    auto cloth = std::make_shared<Mtl>(WStr(L"Cloth"));
    cloth->SetNumSubMtls(1);
    cloth->SetSubMtl(0, std::make_shared<Mtl>(WStr(L"Thread\\")));
    multi->SetSubMtl(2, cloth);
    MtlBaseLib lib;
    lib.AddMtl(std::make_shared<Texmap>(WStr(L"Checker")));
    lib.AddMtl(multi);
    return lib;
}

} // namespace

TEST(MaterialLibrary, TextRoundTripKeepsOrderSlotsAndNames) {
    const std::optional<std::string> text = FormatMaterialLibrary(sampleLibrary());
    ASSERT_TRUE(text);
    EXPECT_EQ(text->substr(0, 27), "wkcache-material-library 1\n");
    MtlBaseLib back;
    ASSERT_TRUE(ParseMaterialLibrary(*text, back));
    ASSERT_EQ(back.Count(), 2);
    EXPECT_EQ(back[0]->SuperClassID(), TEXMAP_CLASS_ID);
    EXPECT_EQ(back[0]->GetName(), WStr(L"Checker"));
    auto* multi = dynamic_cast<Mtl*>(back[1]);
    ASSERT_NE(multi, nullptr);
    EXPECT_EQ(multi->GetName(), WStr(L"Body \"main\"\n\u00E9"));
    ASSERT_EQ(multi->NumSubMtls(), 3);
    EXPECT_EQ(multi->GetSubMtl(0)->GetName(), WStr(L"Skin"));
    EXPECT_EQ(multi->GetSubMtl(1), nullptr);
    EXPECT_EQ(multi->GetSubMtl(2)->GetSubMtl(0)->GetName(), WStr(L"Thread\\"));
}

TEST(MaterialLibrary, CommentsBlankLinesAndCrLfAreAccepted) {
    MtlBaseLib lib;
    ASSERT_TRUE(ParseMaterialLibrary("# made by hand\r\nwkcache-material-library 1\r\n\r\n"
                                     "material \"A\" 1  \r\n    empty\r\n",
                                     lib));
    ASSERT_EQ(lib.Count(), 1);
    EXPECT_EQ(static_cast<Mtl*>(lib[0])->NumSubMtls(), 1);
}

TEST(MaterialLibrary, BrokenTextLeavesTheLibraryAsItWas) {
    const char* broken[] = {
        "",
        "wkcache-material-library 2\n",
        "wkcache-material-library\n",
        "wkcache-material-library 1\nmaterial \"A\"\n",
        "wkcache-material-library 1\nmaterial \"A\" 2\n  empty\n",
        "wkcache-material-library 1\nmaterial \"A\" 99999999999\n",
        "wkcache-material-library 1\nmaterial \"A\n",
        "wkcache-material-library 1\nmaterial \"A\\q\" 0\n",
        "wkcache-material-library 1\nempty\n",
        "wkcache-material-library 1\nmaterial \"A\" 1\n  texmap \"T\"\n",
        "wkcache-material-library 1\nshader \"A\"\n",
        "wkcache-material-library 1\ntexmap \"A\" 0\n",
    };
    for (const char* text : broken) {
        MtlBaseLib lib;
        lib.AddMtl(std::make_shared<Mtl>(WStr(L"kept")));
        EXPECT_FALSE(ParseMaterialLibrary(text, lib)) << text;
        EXPECT_EQ(lib.Count(), 1) << text;
    }
    // Nesting deeper than the format allows is refused, also on the way out (a cycle).
    std::string deep = "wkcache-material-library 1\n";
    for (int i = 0; i < 40; ++i)
        deep += "material \"m\" 1\n";
    deep += "material \"leaf\" 0\n";
    MtlBaseLib lib;
    EXPECT_FALSE(ParseMaterialLibrary(deep, lib));
    auto loop = std::make_shared<Mtl>(WStr(L"loop"));
    loop->SetNumSubMtls(1);
    loop->SetSubMtl(0, loop);
    lib.AddMtl(loop);
    EXPECT_FALSE(FormatMaterialLibrary(lib));
    loop->SetSubMtl(0, nullptr); // let it go
}

TEST(MaterialLibrary, ReaderLoadsTheLibraryBesideItsFile) {
    TempDir dir;
    CacheSpec spec;
    spec.nodes = {triangleNode("a")};
    const std::string path = dir.write("shot.wkc", buildCache(spec));
    HeadlessMaterials materials;
    ASSERT_TRUE(materials.SaveMaterialLibrary(WStr(dir.file("shot.mat").c_str()), sampleLibrary()));

    WelkardTools::wkCacheReader reader(WStr(path.c_str()), &materials);
    ASSERT_EQ(reader.status(), WelkardTools::kStatusOk);
    ASSERT_NE(reader.getMaterialLibrary(), nullptr);
    EXPECT_EQ(reader.getMaterialLibrary()->Count(), 2);
    Mtl* first = reader.firstMaterial(); // the texture map before it is skipped
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->NumSubMtls(), 3);

    // Taken out, the library belongs to the taker; a reload makes a new, empty-or-loaded one.
    std::unique_ptr<MtlBaseLib> taken = reader.clearMaterialLibrary();
    EXPECT_EQ(taken->Count(), 2);
    EXPECT_EQ(reader.getMaterialLibrary(), nullptr);
    EXPECT_EQ(reader.firstMaterial(), nullptr);
    std::filesystem::remove(dir.file("shot.mat"));
    reader.loadCache();
    ASSERT_NE(reader.getMaterialLibrary(), nullptr);
    EXPECT_TRUE(reader.getMaterialLibrary()->IsEmpty());

    // Without a material service the library stays empty even when the file is there.
    materials.SaveMaterialLibrary(WStr(dir.file("shot.mat").c_str()), sampleLibrary());
    WelkardTools::wkCacheReader plain(WStr(path.c_str()));
    EXPECT_TRUE(plain.getMaterialLibrary()->IsEmpty());
}
