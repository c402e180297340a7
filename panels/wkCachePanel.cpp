// Opening and closing the panel, and its refresh functions.
#include "panels/wkCachePanel.h"

#include "cachefile/wkCacheRegistry.h"
#include "cachefile/wkCacheSizeText.h"
#include "host/FileName.h"
#include "host/Host.h"
#include "object/wkCacheTexts.h"
#include "object/wkCache_obj.h"
#include "panels/wkCacheDialogs.h"
#include "panels/wkCacheDlgProcs.h"

#include <algorithm>
#include <cmath>

using namespace wkCacheParam;
namespace D = wkCacheDialogs;

namespace {

// The one panel of the process (the host's panel interface while a cache object is edited).
wkCachePanel* thePanel = nullptr;

// Colours of the host's colour manager: the bar, its light and its dark edge, and the
// highlight of a pressed check button.
constexpr int kBarColour = 4;
constexpr int kLightEdgeColour = 16;
constexpr int kDarkEdgeColour = 20;
constexpr int kCheckHighlightColour = 4;
constexpr std::uint32_t kStockBlack = 0x000000;

// The controls of each action, and those a selected group enables.
const std::vector<int> kActionControls[] = {
    {1151, 1148, 1149, 1150, 1152, 1145, 1146, 1147}, // 0 Delete
    {},
    {},
    {1142, 1143, 1144},             // 3 Offset
    {1074, D::kFrameSpinner, 1079}, // 4 Set Frame
    {1076, 1077, 1080},             // 5 Set Material ID
};
constexpr int kGroupControls[] = {1083, 1153, 1084, 1085, D::kActionList, 1155, 1156, 1081,
                                  1082, 1086, 1114, 1087, 1115,           1154, 1107, 1106};

struct Tip {
    int id;
    const wchar_t* text;
};
constexpr Tip kFirstOpenTips[] = {
    {1026, L"Create a new cache file"},
    {1012, L"Load an existing cache file"},
    {1027, L"Unload the current cache file"},
    {1028, L"Reload the current cache file"},
    {1158,
     L"Reloads the material from the cache file. Hold SHIFT to update all objects that use this "
     L"cache file"},
    {1100, L"Set to current time range"},
    {1123, L"Set to current time range"},
    {1114, L"Set to selected elements. Hold SHIFT to remove the elements from all other groups"},
    {1087, L"Add selected elements. Hold SHIFT to remove the elements from all other groups"},
    {1115, L"Remove selected elements"},
    {1154, L"Remove this group's elements from all other groups"},
    {1086, wkCacheTexts::kSelectElementsByName},
    {1110, wkCacheTexts::kSelectElementsByName},
    {1069,
     L"Create a new group from the currently selected elements. Hold SHIFT to create an empty "
     L"group"},
};

WStr nodeText(INode* node) {
    if (node == nullptr || node->TestAFlag(A_IS_DELETED))
        return wkCacheTexts::kDeleted;
    return node->GetName();
}

// Rebuilds the list when its length changed, otherwise replaces only the rows that differ;
// sets the horizontal extent to the widest row.
void fillList(PanelWindow& w, int id, const std::vector<WStr>& texts) {
    const int count = static_cast<int>(texts.size());
    if (w.ListCount(id) != count) {
        w.ListReset(id);
        for (const WStr& text : texts)
            w.ListAdd(id, text);
    } else {
        for (int i = 0; i < count; ++i)
            if (w.ListText(id, i) != texts[static_cast<std::size_t>(i)])
                w.ListSetText(id, i, texts[static_cast<std::size_t>(i)]);
    }
    int widest = 0;
    for (const WStr& text : texts)
        widest = std::max(widest, w.TextWidth(id, text));
    w.ListSetHorizontalExtent(id, widest + D::kListExtentMargin);
}

} // namespace

// ---- Open and close

wkCachePanel::wkCachePanel(wkCache_obj& object) : obj(object), host(GetHost().Panels()) {}

wkCachePanel::~wkCachePanel() {
    for (PanelWindow* w : windows)
        host.DeleteRollout(w);
}

void wkCachePanel::open(wkCache_obj& object) {
    close();
    thePanel = new wkCachePanel(object);
    wkCachePanel& panel = *thePanel;
    panel.shownActionLayout = -2;
    for (const D::RolloutInfo& info : D::rollouts()) {
        std::unique_ptr<PanelDlgProc> proc = makeDlgProc(info.dialog, object);
        PanelWindow* w = panel.host.AddRollout(D::dialogTemplate(info.dialog), info.title,
                                               info.startsClosed, proc.get());
        panel.host.BindParameters(*w, object.params(), D::parameterMaps());
        panel.windows.push_back(w);
        if (proc)
            panel.procs.push_back(std::move(proc));
    }
    panel.rollout(D::kCacheFile)->SetPainter(D::kStatusField, [&panel](PanelCanvas& canvas) {
        return panel.paintStatus(canvas);
    });
    object.setStatusObserver([](wkCache_obj& o) {
        if (wkCachePanel* p = wkCachePanel::of(o)) {
            p->refreshStatus(&o.statusText());
            p->setProgress(o.progressState().progressDone, o.progressState().progressTotal);
        }
    });
}

void wkCachePanel::close() {
    if (thePanel == nullptr)
        return;
    wkCachePanel* ending = thePanel;
    thePanel = nullptr;
    if (PanelWindow* w = ending->rollout(D::kCacheFile))
        w->SetPainter(D::kStatusField, {});
    ending->obj.setStatusObserver({});
    GetHost().Panels().SetPickMode(nullptr);
    delete ending;
}

wkCachePanel* wkCachePanel::current() {
    return thePanel;
}

wkCachePanel* wkCachePanel::of(const wkCache_obj& object) {
    return thePanel != nullptr && &thePanel->obj == &object ? thePanel : nullptr;
}

PanelWindow* wkCachePanel::rollout(int dialogId) const {
    for (PanelWindow* w : windows)
        if (w->DialogId() == dialogId)
            return w;
    return nullptr;
}

// ---- Enabling, file name, images and tooltips

void wkCachePanel::updatePanels(bool firstOpen) {
    const IParamBlock2& p = obj.params();
    const bool displayCache = p.GetInt(vpDisplayCache) == 1;
    const bool useGraph = p.GetInt(playUseGraph) == 1;
    const int mode = p.GetInt(triggerMode);
    if (PanelWindow* w = rollout(D::kViewportRender)) {
        w->Enable(1019, displayCache && !host.RetainedMode());
        w->Enable(1067, displayCache);
        const bool hiding = displayCache && p.GetInt(vpDeleteObjects) != 1;
        w->Enable(1030, hiding);
        w->Enable(1031, hiding);
    }
    if (PanelWindow* w = rollout(D::kPlayback)) {
        // Each spinner with its edit (1013, 1015, 1017): the edit alone would still take
        // a typed value.
        for (int id : {1096, 1097, 1166, 1098, 1013, 1014, 1015, 1016, 1017, 1018, 1054, 1109})
            w->Enable(id, !useGraph);
        w->Enable(1092, mode == 2);
        for (int id : {1099, 1108, 1136, 1135})
            w->Enable(id, mode > 0);
    }
    if (PanelWindow* w = rollout(D::kExplode)) {
        const bool reduce = p.GetInt(explodeReduce) == 1;
        for (int id : {1133, 1134, 1129, 1130, 1131, 1132}) // the spinners with their edits
            w->Enable(id, reduce);
        w->Enable(1141, p.GetInt(explodeTo) == 3);
    }
    if (PanelWindow* w = rollout(D::kCacheFile)) {
        const AssetUser asset = obj.fileName();
        WStr file;
        WStr extension;
        SplitFilename(asset.GetFileName(), nullptr, &file, &extension);
        w->SetText(D::kFileField, asset.IsNull() ? WStr(wkCacheTexts::kNoFile)
                                                 : WStr(file.str() + extension.str()));
        WStr full;
        const bool resolves = !asset.IsNull() && GetHost().Assets().GetFullFilePath(asset, full);
        w->SetTooltip(D::kFileField, resolves ? full.data() : nullptr);
    }
    if (!firstOpen)
        return;
    if (PanelWindow* w = rollout(D::kCacheFile)) {
        int image = 0;
        for (int id : {1026, 1012, 1027, 1028, 1158})
            w->SetImage(id, {1160, 1161, 24, 24, image++});
    }
    const std::uint32_t highlight = host.GetUIColor(kCheckHighlightColour);
    if (PanelWindow* w = rollout(D::kRecord))
        w->MakeCheckButton(D::kPickButton, highlight);
    if (PanelWindow* w = rollout(D::kPerElement))
        w->MakeCheckButton(1107, highlight);
    for (const Tip& tip : kFirstOpenTips)
        for (PanelWindow* w : windows)
            if (w->HasControl(tip.id))
                w->SetTooltip(tip.id, tip.text);
}

// ---- Lists

void wkCachePanel::refreshNodeList() {
    PanelWindow* w = rollout(D::kRecord);
    if (w == nullptr || obj.isNodeListSuspended())
        return;
    const int caret = w->ListCaret(D::kNodeList);
    std::vector<WStr> texts;
    const TimeValue t = GetHost().Time().GetTime();
    for (int i = 0; i < obj.nodeCount(); ++i)
        texts.push_back(nodeText(obj.nodeAt(i, t)));
    fillList(*w, D::kNodeList, texts);
    if (!texts.empty())
        w->ListSetCaret(D::kNodeList, std::min(caret, static_cast<int>(texts.size()) - 1));
}

void wkCachePanel::refreshGroupList() {
    PanelWindow* w = rollout(D::kPerElement);
    if (w == nullptr)
        return;
    const wkCacheGroupList& groups = obj.playbackRecord().groups;
    std::vector<WStr> texts;
    for (const wkCacheGroup& g : groups.all()) {
        const int count = static_cast<int>(g.elements.size());
        WStr text;
        text.printf(wkCacheTexts::kGroupEntryFormat, g.name.data(), count, count == 1 ? L"" : L"s");
        texts.push_back(text);
    }
    fillList(*w, D::kGroupList, texts);
    w->ListSetCurSel(D::kGroupList, groups.selected());
    refreshGroupControls(GetHost().Time().GetTime());
}

void wkCachePanel::refreshGroupControls(TimeValue t) {
    PanelWindow* w = rollout(D::kPerElement);
    if (w == nullptr)
        return;
    const wkCacheGroupList& groups = obj.playbackRecord().groups;
    const int index = groups.selected();
    const wkCacheGroup* group = index >= 0 && index < groups.count() ? &groups.at(index) : nullptr;
    const int action = group != nullptr ? static_cast<int>(group->mode) : -1;
    if (action != shownActionLayout) {
        shownActionLayout = action;
        for (int a = 0; a < kGroupModeCount; ++a)
            for (int id : kActionControls[a])
                w->Show(id, a == action);
        for (int id : kGroupControls)
            w->Enable(id, group != nullptr);
    }
    if (group == nullptr)
        return;
    w->ListSetCurSel(D::kActionList, action);
    w->SetCheck(1107, group->enabled);
    switch (group->mode) {
    case wkCacheGroupMode::Delete:
        w->SetCheck(1151, group->byAge);
        w->SetCheck(1152, group->byDistance);
        w->SetSpinnerValue(1149, group->age, false);
        w->SetSpinnerValue(1146, group->distance, false);
        break;
    case wkCacheGroupMode::Offset:
        w->SetSpinnerValue(1143, group->offset, false);
        break;
    case wkCacheGroupMode::SetFrame: {
        const IParamBlock2& p = obj.params();
        w->SetSpinnerValue(D::kFrameSpinner, p.GetFloat(elementFrames, t, index), false);
        const Control* c = p.GetControllerByID(elementFrames, index);
        w->SetKeyBrackets(D::kFrameSpinner, c != nullptr && c->IsKeyAtTime(t));
        break;
    }
    case wkCacheGroupMode::SetMaterialId:
        w->SetSpinnerValue(1077, static_cast<float>(group->materialId + 1), false);
        break;
    default:
        break;
    }
    w->SetCheck(1106, group->respectActivation);
}

// ---- Status and file info

void wkCachePanel::refreshStatus(const WStr* text) {
    PanelWindow* w = rollout(D::kCacheFile);
    if (w == nullptr)
        return;
    w->SetText(D::kStatusField, text != nullptr ? *text : obj.defaultStatusText());
    w->Redraw(D::kStatusField);
}

void wkCachePanel::refreshFileInfo() {
    PanelWindow* w = rollout(D::kFileInfo);
    if (w == nullptr)
        return;
    wkCacheRegistryEntry* entry = theCacheRegistry.findEntryOfClient(&obj.playbackRecord());
    const WelkardTools::wkCacheReader* reader =
        entry != nullptr && entry->reader && !entry->reader->hasError() ? entry->reader.get()
                                                                        : nullptr;
    const auto size = [](std::int64_t bytes) {
        return WelkardTools::FormatCacheSize(
            static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0)));
    };
    const auto number = [](const wchar_t* format, int value) {
        WStr text;
        text.printf(format, value);
        return text;
    };
    w->SetText(1101, reader ? size(reader->fileSize()) : WStr());
    w->SetText(1112, reader ? size(reader->meshSize()) : WStr());
    w->SetText(1113, reader ? size(reader->animationSize()) : WStr());
    w->SetText(1102, reader ? number(L"%i", reader->cacheNumSamples()) : WStr());
    w->SetText(1103, reader ? number(L"%i ticks", reader->step()) : WStr());
    w->SetText(1104, reader ? number(L"%i FPS", reader->cacheFrameRate()) : WStr());
    w->SetText(1105, reader ? number(L"%i", reader->cacheNumNodes()) : WStr());
}

void wkCachePanel::setProgress(int done, int total) {
    wkCacheProgressState& state = obj.progressState();
    state.progressDone = done;
    state.progressTotal = total;
    if (PanelWindow* w = rollout(D::kCacheFile))
        w->Redraw(D::kStatusField);
}

// The bar fills done / total of the width, with a raised frame: the light edge along the top
// and the left, the stock black pen one pixel inside the bottom and the right edge, and the
// dark edge along the bottom and the right.
bool wkCachePanel::paintStatus(PanelCanvas& canvas) {
    const wkCacheProgressState& state = obj.progressState();
    if (state.progressDone < 0 || state.progressTotal < 0)
        return false;
    const float share = state.progressTotal > 0 ? static_cast<float>(state.progressDone) /
                                                      static_cast<float>(state.progressTotal)
                                                : 0.0f;
    const int width = static_cast<int>(share * static_cast<float>(canvas.Width()));
    const int height = canvas.Height();
    canvas.FillRect({0, 0, canvas.Width(), height}, 0xFFFFFF);
    if (width <= 0)
        return true;
    canvas.FillRect({0, 0, width, height}, host.GetUIColor(kBarColour));
    canvas.Line(0, 0, width - 1, 0, host.GetUIColor(kLightEdgeColour));
    canvas.Line(0, 0, 0, height - 1, host.GetUIColor(kLightEdgeColour));
    if (width > 2) {
        canvas.Line(1, height - 2, width - 2, height - 2, kStockBlack);
        canvas.Line(width - 2, 1, width - 2, height - 2, kStockBlack);
    }
    canvas.Line(0, height - 1, width - 1, height - 1, host.GetUIColor(kDarkEdgeColour));
    canvas.Line(width - 1, 0, width - 1, height - 1, host.GetUIColor(kDarkEdgeColour));
    return true;
}

// ---- What the object calls

namespace wkCachePanels {

void updatePanels(wkCache_obj& object, bool firstOpen) {
    if (wkCachePanel* p = wkCachePanel::of(object))
        p->updatePanels(firstOpen);
}
void refreshNodeList(wkCache_obj& object) {
    if (wkCachePanel* p = wkCachePanel::of(object))
        p->refreshNodeList();
}
void refreshGroupList(wkCache_obj& object) {
    if (wkCachePanel* p = wkCachePanel::of(object))
        p->refreshGroupList();
}
void refreshGroupControls(wkCache_obj& object, TimeValue t) {
    if (wkCachePanel* p = wkCachePanel::of(object))
        p->refreshGroupControls(t);
}
void refreshStatus(wkCache_obj& object, const WStr* text) {
    if (wkCachePanel* p = wkCachePanel::of(object))
        p->refreshStatus(text);
}
void refreshFileInfo(wkCache_obj& object) {
    if (wkCachePanel* p = wkCachePanel::of(object))
        p->refreshFileInfo();
}
void setProgress(wkCache_obj& object, int done, int total) {
    if (wkCachePanel* p = wkCachePanel::of(object))
        p->setProgress(done, total);
}

} // namespace wkCachePanels
