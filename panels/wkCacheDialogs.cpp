#include "panels/wkCacheDialogs.h"

#include "object/wkCacheParams.h"

#include <initializer_list>
#include <map>
#include <stdexcept>
#include <utility>

namespace wkCacheDialogs {

namespace {

using K = ControlKind;
using BK = ParamBinding::Kind;
namespace P = wkCacheParam;

constexpr RolloutInfo kRollouts[] = {
    {0, kCacheFile, L"Cache File", false},
    {1, kFileInfo, L"File Info", true},
    {2, kRecord, L"Record", false},
    {3, kPlayback, L"Playback", false},
    {4, kViewportRender, L"Viewport / Render", false},
    {5, kPerElement, L"Per-Element Control", false},
    {6, kExplode, L"Explode to Objects", true},
    {7, kAbout, L"About", true},
};

ControlTemplate button(int id, const wchar_t* caption) {
    return {id, K::Button, caption};
}
ControlTemplate check(int id, const wchar_t* caption) {
    return {id, K::CheckBox, caption};
}
ControlTemplate label(int id, const wchar_t* caption = L"") {
    return {id, K::Static, caption};
}
ControlTemplate comboBox(int id) {
    return {id, K::ComboBox, L""};
}
ControlTemplate radioButton(int id, const wchar_t* caption) {
    return {id, K::RadioButton, caption};
}
ControlTemplate groupBox(int id, const wchar_t* caption) {
    return {id, K::GroupBox, caption};
}
ControlTemplate listBox(int id) {
    return {id, K::ListBox, L""};
}
ControlTemplate checkButton(int id) {
    return {id, K::CheckButton, L""};
}
// Shows "None" until something is picked.
ControlTemplate pickButton(int id) {
    return {id, K::PickButton, L"None"};
}
// Spinners, each after its edit: pairs of edit and arrows ids.
void spinners(DialogTemplate& d, std::initializer_list<std::pair<int, int>> editAndArrows) {
    for (const auto& [edit, arrows] : editAndArrows) {
        d.controls.push_back({edit, K::Edit, L""});
        d.controls.push_back({arrows, K::Spinner, L""});
    }
}

// The controls of a dialog in its order, a line for the controls that belong together.
// clang-format off
std::map<int, DialogTemplate> makeTemplates() {
    std::map<int, DialogTemplate> t;

    DialogTemplate& file = t[kCacheFile];
    file.id = kCacheFile;
    file.controls = {label(kFileField),
                     {kStatusField, K::StatusField, L""},
                     button(1026, L"New.."),
                     button(1012, L"Load.."),
                     button(1027, L"Unload"),
                     button(1028, L"Reload"),
                     button(1158, L"Reload Material")};

    DialogTemplate& info = t[kFileInfo];
    info.id = kFileInfo;
    // Each field after its label.
    const std::pair<int, const wchar_t*> fields[] = {
        {1101, L"File Size :"}, {1112, L"Mesh :"},      {1113, L"Animation :"},
        {1102, L"Frames :"},    {1103, L"Step Size :"}, {1104, L"FrameRate :"},
        {1105, L"Nodes :"}};
    for (const auto& [id, caption] : fields) {
        info.controls.push_back(label(-1, caption));
        info.controls.push_back(label(id));
    }

    DialogTemplate& rec = t[kRecord];
    rec.id = kRecord;
    rec.controls = {
        listBox(kNodeList),
        button(kPickButton, L"Pick"), button(1006, L"Add.."), button(1007, L"Remove"),
        button(1008, L"All"), button(1009, L"None"), button(1010, L"Invert"),
        button(1011, L"Record"), button(1100, L"Rng"),
        check(1055, L"Save Material"), check(1157, L"Clear Node List"),
        checkButton(2000), checkButton(2001), checkButton(2002)};
    spinners(rec, {{1044, 1045}, {1046, 1047}, {1048, 1049}});

    DialogTemplate& play = t[kPlayback];
    play.id = kPlayback;
    play.controls = {
        comboBox(1054), comboBox(2014), comboBox(2015),
        check(1109, L"Reverse"), check(1037, L"Use Graph"),
        comboBox(1040), comboBox(1041), comboBox(1051), comboBox(1052),
        radioButton(1089, L"None"), radioButton(1090, L"Gizmo"), radioButton(1091, L"Omni"),
        pickButton(1092), check(1099, L"Interactive"), comboBox(1135),
        button(1108, L"Update Now"),
        label(1096, L"Start :"), label(1097, L"Speed :"), label(1166, L"FPS :"),
        label(1098, L"Steps :"), label(1136, L"Steps :")};
    spinners(play, {{1013, 1014}, {1015, 1016}, {1017, 1018}, {2016, 2017}, {1038, 1039}});

    DialogTemplate& view = t[kViewportRender];
    view.id = kViewportRender;
    view.controls = {check(1019, L"Force Wireframe"),     check(1020, L"Box Mode"),
                     check(1029, L"Interpolate"),         check(1030, L"Hide Faces"),
                     check(1031, L"Draw Markers"),        check(1042, L"Display Icon"),
                     check(1043, L"Display Cache"),       check(1032, L"Box Mode"),
                     check(1033, L"Interpolate"),         check(1034, L"Apply Material ID"),
                     check(1050, L"Don't Delete"),        check(1159, L"Delete Faces"),
                     groupBox(1067, L"Invisible Objects")};
    spinners(view, {{1000, 1001}, {1035, 1036}});

    DialogTemplate& groups = t[kPerElement];
    groups.id = kPerElement;
    groups.controls = {
        listBox(kGroupList), comboBox(kActionList),
        button(1069, L"New Group.."), button(1081, L"Rename.."), button(1082, L"Remove"),
        button(1086, L"Select By Name.."), button(1087, L"Add"), button(1114, L"Set"),
        button(1115, L"Remove"), button(1154, L"Remove from Others"),
        button(1155, L"Up"), button(1156, L"Down"),
        check(1106, L"Respect Activation"), button(1107, L"Enabled"),
        button(1110, L"Select By Name.."),
        check(1151, L"By Age"), check(1152, L"By Distance to Gizmo"),
        label(1079, L"Frame :"), label(1080, L"Material ID :"), label(1144, L"Offset :"),
        label(1150, L"Age :"), label(1147, L"Distance :"),
        groupBox(1083, L"Action"), groupBox(1153, L"Elements"), label(1084, L"Action :"),
        groupBox(1085, L"Group")};
    spinners(groups,
             {{1148, 1149}, {1145, 1146}, {1142, 1143}, {1074, kFrameSpinner}, {1076, 1077}});

    DialogTemplate& explode = t[kExplode];
    explode.id = kExplode;
    explode.controls = {
        check(1128, L"Reduce Keys"), check(1127, L"Selected Only"),
        radioButton(1137, L"Mesh"), radioButton(1138, L"Editable Poly"),
        radioButton(1139, L"Instances"), radioButton(1140, L"Source"), pickButton(1141),
        button(1123, L"Rng"), button(1126, L"Explode"),
        label(1133, L"Step :"), label(1134, L"Threshold :")};
    spinners(explode, {{1119, 1120}, {1121, 1122}, {1124, 1125}, {1129, 1130}, {1131, 1132}});

    // The About texts have no ids of their own.
    DialogTemplate& about = t[kAbout];
    about.id = kAbout;
    about.controls = {label(-1, L"Welkard Cache"), label(-1, L"Version 1.3")};

    DialogTemplate& name = t[kGroupName];
    name = {kGroupName,
            L"Group Name",
            {label(-1, L"Name:"),
             {kNameEdit, K::Edit, L""},
             button(IDC_OK, L"OK"),
             button(IDC_CANCEL, L"Cancel")},
            240,
            90};

    // Resizable: its procedure keeps each control at its distance from the edges.
    DialogTemplate& elements = t[kGroupElements];
    elements = {kGroupElements,
                L"",
                {{kElementList, K::ListBox, L"", {8, 56, 252, 318}},
                 {kElementLabel, K::Static, L"", {8, 8, 252, 24}},
                 {-1, K::Static, L"Filter :", {8, 32, 52, 48}},
                 {kFilterEdit, K::Edit, L"", {56, 30, 252, 50}},
                 {IDC_OK, K::Button, L"OK", {92, 352, 168, 374}},
                 {IDC_CANCEL, K::Button, L"Cancel", {176, 352, 252, 374}},
                 {1116, K::Button, L"All", {8, 324, 58, 346}},
                 {1117, K::Button, L"None", {62, 324, 112, 346}},
                 {1118, K::Button, L"Invert", {116, 324, 166, 346}}},
                260,
                380};

    DialogTemplate& extra = t[kFileDialogExtra];
    extra = {kFileDialogExtra,
             L"",
             {{1119, K::Static, L"", {0, 0, 560, 340}},
              {kHistoryList, K::ComboBox, L"", {72, 348, 440, 372}},
              {1022, K::Static, L"History:", {8, 352, 64, 368}},
              button(kPlusButton, L"+")},
             560,
             400};
    return t;
}
// clang-format on

ParamBinding spin(ParamID p, int dialog, int edit, int arrows, bool isFloat, float scale = -1.0f) {
    ParamBinding b;
    b.param = p;
    b.dialog = dialog;
    b.kind = BK::Spinner;
    b.controls = {edit, arrows};
    b.isFloat = isFloat;
    b.scale = scale;
    return b;
}
ParamBinding toggle(ParamID p, int dialog, int id, BK kind = BK::CheckBox) {
    ParamBinding b;
    b.param = p;
    b.dialog = dialog;
    b.kind = kind;
    b.controls = {id};
    return b;
}
ParamBinding combo(ParamID p, int dialog, int id, std::vector<const wchar_t*> items) {
    ParamBinding b = toggle(p, dialog, id, BK::ComboBox);
    b.items = std::move(items);
    return b;
}
ParamBinding radio(ParamID p, int dialog, std::vector<int> ids) {
    ParamBinding b = toggle(p, dialog, 0, BK::Radio);
    b.controls = std::move(ids);
    return b;
}
ParamBinding pick(ParamID p, int dialog, int id, const wchar_t* prompt) {
    ParamBinding b = toggle(p, dialog, id, BK::PickNode);
    b.prompt = prompt;
    return b;
}
ParamBinding with(ParamBinding b, std::vector<ParamID> enabledBy, const wchar_t* tip = nullptr) {
    b.enabledBy = std::move(enabledBy);
    b.tooltip = tip;
    return b;
}

std::vector<ParamBinding> makeMaps() {
    const std::vector<const wchar_t*> steps{L"Frame", L"Half Frame", L"1/4 Frame", L"1/8 Frame"};
    const std::vector<const wchar_t*> units{L"Inches",      L"Feet",   L"Miles",     L"Milimeters",
                                            L"Centimeters", L"Meters", L"Kilometers"};
    const std::vector<const wchar_t*> ort{L"Hide", L"Hold", L"Loop", L"Ping-Pong"};
    const int pb = kPlayback;
    const int vr = kViewportRender;
    const int ex = kExplode;
    ParamBinding icon = spin(P::iconSize, vr, 1000, 1001, true);
    icon.worldUnits = true;
    return {
        icon,
        spin(P::playStart, pb, 1013, 1014, false),
        spin(P::playSpeed, pb, 1015, 1016, true),
        spin(P::playFPS, pb, 1017, 1018, false),
        combo(P::playSpeedSteps, pb, 1054, steps),
        combo(P::scaleUnitsFrom, pb, 2014, units),
        combo(P::scaleUnitsTo, pb, 2015, units),
        toggle(P::playReverse, pb, 1109),
        toggle(P::playUseGraph, pb, 1037),
        with(spin(P::playFrame, pb, 1038, 1039, true), {P::playUseGraph}),
        spin(P::scaleUnits, pb, 2016, 2017, true),
        combo(P::playInORT, pb, 1040, ort),
        combo(P::playOutORT, pb, 1041, ort),
        toggle(P::vpWireframe, vr, 1019),
        with(toggle(P::vpBoxMode, vr, 1020), {P::vpDisplayCache}),
        with(toggle(P::vpInterpolate, vr, 1029), {P::vpDisplayCache}),
        toggle(P::vpHideObjects, vr, 1030),
        toggle(P::vpShowMarkers, vr, 1031),
        toggle(P::vpDisplayIcon, vr, 1042),
        toggle(P::vpDisplayCache, vr, 1043),
        toggle(P::rendBoxMode, vr, 1032),
        toggle(P::rendInterpolate, vr, 1033),
        with(toggle(P::rendApplyMatID, vr, 1034), {P::rendDontDelete}),
        with(spin(P::rendMatID, vr, 1035, 1036, false, 1.0f), {P::rendApplyMatID}),
        toggle(P::rendDontDelete, vr, 1050),
        spin(P::recStart, kRecord, 1044, 1045, false),
        spin(P::recEnd, kRecord, 1046, 1047, false),
        spin(P::recStep, kRecord, 1048, 1049, true),
        with(toggle(P::recSaveMaterial, kRecord, 1055), {},
             L"Saves a material library along with the cache file"),
        combo(P::loadTypeLocal, pb, 1051, {L"Stream", L"Per-Sample", L"Pre-Load"}),
        combo(P::loadTypeSlave, pb, 1052, {L"Per-Sample", L"Pre-Load"}),
        radio(P::triggerMode, pb, {1089, 1090, 1091}),
        pick(P::triggerOmni, pb, 1092, L"Pick an Omni light"),
        toggle(P::triggerInteractive, pb, 1099),
        spin(P::explodeStart, ex, 1119, 1120, false),
        spin(P::explodeEnd, ex, 1121, 1122, false),
        spin(P::explodeStep, ex, 1124, 1125, true),
        toggle(P::explodeReduce, ex, 1128),
        spin(P::explodeReduceStep, ex, 1129, 1130, true),
        spin(P::explodeReduceThresh, ex, 1131, 1132, true),
        toggle(P::explodeSelectedOnly, ex, 1127),
        combo(P::triggerSteps, pb, 1135, steps),
        radio(P::explodeTo, ex, {1137, 1138, 1139, 1140}),
        pick(P::explodeToNode, ex, 1141, L"Pick an object to use as source"),
        with(toggle(P::recClearNodeList, kRecord, 1157), {},
             L"Removes all the nodes from the list after recording"),
        toggle(P::pb_recWriteTransform, kRecord, 2000, BK::CheckButton),
        toggle(P::pb_recWriteDeform, kRecord, 2001, BK::CheckButton),
        toggle(P::pb_recWriteTopology, kRecord, 2002, BK::CheckButton),
        with(toggle(P::vpDeleteObjects, vr, 1159), {P::vpDisplayCache},
             L"Forces invisible elements to be deleted instead of just hidden. This can be useful "
             L"when using WK Cache in conjunction with FumeFX. Note that enabling this option has "
             L"a negative impact on viewport performance"),
    };
}

} // namespace

std::span<const RolloutInfo> rollouts() {
    return kRollouts;
}

const DialogTemplate& dialogTemplate(int id) {
    static const std::map<int, DialogTemplate> templates = makeTemplates();
    return templates.at(id);
}

std::span<const ParamBinding> parameterMaps() {
    static const std::vector<ParamBinding> maps = makeMaps();
    return maps;
}

} // namespace wkCacheDialogs
