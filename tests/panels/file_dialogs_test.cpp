// The cache file dialogs over the headless file dialog: names, the overwrite question, the
// history of folders and the plus button.
#include "panels/wkCacheFileDialogs.h"

#include "host/headless/PanelDriver.h"
#include "tests/recording/RecordTestScene.h"

#include <fstream>

namespace {

class FileDialogTest : public rectest::RecordTest {
protected:
    HeadlessPanelHost& panels = host.Panels();
    AssetUser asset;
};

TEST(NumberedNames, ThePlusButtonCountsOnOrStartsAtOne) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"take07.wkc", L"take08.wkc"},
        {L"take99.wkc", L"take100.wkc"},
        {L"take.wkc", L"take01.wkc"},
        {L"take7", L"take701"},
        {L"07.wkc", L"0701.wkc"},               // two characters: no number to count on
        {L"shot12.backup", L"shot12.backup01"}, // an extension of five is no extension
    };
    for (const auto& [from, to] : cases)
        EXPECT_EQ(advanceNumberedName(from), WStr(to)) << WStr(from).ToCStr().str();
}

TEST_F(FileDialogTest, ASuggestionIsCleanedAndNoAsksAgainWithTheSameName) {
    std::ofstream(dir.file("old.wkc")) << "old";
    panels.QueueFileAnswer(wpath("old.wkc"));
    host.UI().QueueMessageBoxAnswer(IDNO);
    panels.QueueFileAnswer(std::nullopt);
    WStr name = L"My cache, v2!";
    EXPECT_FALSE(specifyCacheFile(asset, name, true));
    ASSERT_EQ(panels.FileDialogs().size(), 2u);
    EXPECT_EQ(panels.FileDialogs()[0].fileName, WStr(L"My_cache__v2_.wkc"));
    EXPECT_EQ(panels.FileDialogs()[0].flags, 0x881864u);
    EXPECT_EQ(panels.FileDialogs()[1].fileName, wpath("old.wkc"));
    EXPECT_EQ(name, WStr(L"My cache, v2!"));
    EXPECT_TRUE(asset.IsNull());
    EXPECT_TRUE(exists("old.wkc"));

    panels.QueueFileAnswer(wpath("old.wkc"));
    host.UI().QueueMessageBoxAnswer(IDYES);
    ASSERT_TRUE(specifyCacheFile(asset, name, false));
    EXPECT_EQ(name, wpath("old.wkc"));
    EXPECT_FALSE(exists("old.wkc"));
}

TEST_F(FileDialogTest, ThePlusButtonNumbersTheNameOnAndConfirms) {
    panels.QueueFileDialog([&](PanelDriver& d) {
        EXPECT_TRUE(d.visible(1023));
        d.type(kFileDialogNameEdit, wpath("take07.wkc"));
        d.press(1023);
    });
    WStr name;
    ASSERT_TRUE(specifyCacheFile(asset, name, false));
    EXPECT_EQ(name, wpath("take08.wkc"));
    // An empty name only confirms; the open dialog hides the button.
    panels.QueueFileDialog([](PanelDriver& d) {
        EXPECT_FALSE(d.visible(1023));
        d.press(IDC_OK);
    });
    EXPECT_TRUE(selectCacheFile(asset));
    EXPECT_EQ(panels.FileDialogs().back().title, WStr(L"Select Cache File"));
    EXPECT_EQ(panels.FileDialogs().back().flags, 0x880864u);
}

TEST_F(FileDialogTest, DialogsStartAtTheNewestFolderOfTheKeptHistory) {
    const auto historyFile = dir.file("history.txt");
    panels.SetDir(3, L"/scenes");
    panels.SetHistoryFile(historyFile);
    panels.QueueFileAnswer(wpath("a.wkc"));
    ASSERT_TRUE(selectCacheFile(asset));
    EXPECT_EQ(panels.FileDialogs()[0].initialDir, WStr(L"/scenes"));
    EXPECT_EQ(asset.GetFileName(), wpath("a.wkc"));

    // A new host reads the folders back from the history file and starts at the newest; a
    // folder chosen in the list is where a plain name goes.
    HeadlessHost next;
    ScopedHost scope(next);
    next.Panels().SetHistoryFile(historyFile);
    next.Panels().SetCurrentFolder(L"/elsewhere");
    const WStr folder = WStr::FromUTF8(dir.path().string());
    next.Panels().QueueFileDialog([&](PanelDriver& d) {
        EXPECT_EQ(d.rows(1021), (std::vector<WStr>{folder, L"/scenes"}));
        d.choose(1021, 1);
        d.type(kFileDialogNameEdit, L"b");
        d.press(IDC_OK);
    });
    AssetUser chosen;
    ASSERT_TRUE(selectCacheFile(chosen));
    EXPECT_EQ(next.Panels().FileDialogs()[0].initialDir, folder);
    EXPECT_EQ(chosen.GetFileName(), WStr(L"/scenes/b.wkc"));
}

} // namespace
