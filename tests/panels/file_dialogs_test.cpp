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
        // A point in a folder's name is no extension, whichever separator the name uses.
        {L"/proj.v2/a", L"/proj.v2/a01"},
        {L"C:\\proj.v2\\a", L"C:\\proj.v2\\a01"},
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

// The hook's layout in both dialogs, as they start and after the user makes them 100 wider and
// 50 higher (OK keeps to the corner): OK and Cancel 14 lower than the dialog puts them, the
// plus button 24 high with its top 28 above OK's (shown only when saving), and the history
// reaching to OK's right edge once the dialog is resized.
TEST_F(FileDialogTest, TheHookPlacesThePlusButtonAndTheHistory) {
    struct Place {
        int id;
        PanelRect started, resized;
    };
    const Place places[] = {
        {IDC_OK, {456, 292, 552, 314}, {556, 342, 652, 364}},
        {IDC_CANCEL, {456, 322, 552, 344}, {556, 372, 652, 394}},
        {1023, {456, 264, 552, 288}, {556, 314, 652, 338}},
        {1021, {72, 348, 440, 372}, {72, 398, 652, 422}},
    };
    for (const bool save : {true, false}) {
        panels.QueueFileDialog([&](PanelDriver& d) {
            HeadlessWindow& w = d.window(IDC_OK);
            EXPECT_EQ(d.visible(1023), save);
            for (const Place& p : places)
                EXPECT_TRUE(w.GetControlRect(p.id) == p.started) << p.id << " save " << save;
            w.SetRect({0, 0, 660, 450});
            for (const Place& p : places)
                EXPECT_TRUE(w.GetControlRect(p.id) == p.resized) << p.id << " save " << save;
        });
        WStr name;
        EXPECT_FALSE(save ? specifyCacheFile(asset, name, false) : selectCacheFile(asset));
    }
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
    // An empty name only presses OK, which chooses nothing: the dialog stays open (until the
    // user cancels it here) rather than naming a file ".wkc".
    panels.QueueFileDialog([](PanelDriver& d) {
        d.press(1023);
        EXPECT_FALSE(d.window(IDC_OK).Result());
        EXPECT_TRUE(d.text(kFileDialogNameEdit).IsEmpty());
    });
    WStr none;
    EXPECT_FALSE(specifyCacheFile(asset, none, false));
    EXPECT_TRUE(none.IsEmpty());
    // The open dialog hides the button.
    panels.QueueFileDialog([](PanelDriver& d) {
        EXPECT_FALSE(d.visible(1023));
        d.type(kFileDialogNameEdit, L"");
        d.press(IDC_OK);
        EXPECT_FALSE(d.window(IDC_OK).Result());
        d.type(kFileDialogNameEdit, L"take.wkc");
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
