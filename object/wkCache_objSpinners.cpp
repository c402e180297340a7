// The spinners of the Per-Element Control rollout: a drag is one undo step of the group list,
// named after the spinner, or nothing when it ends without a selected group.
#include "object/wkCache_obj.h"

#include "host/Host.h"

namespace {

constexpr int kFrameSpinner = 1075;

// The step's name of each spinner of a group setting.
const wchar_t* spinnerStepName(int control) {
    switch (control) {
    case 1077:
        return L"Group MatID"; // 134
    case 1143:
        return L"Group Offset"; // 135
    case 1146:
        return L"Group Distance"; // 130
    case 1149:
        return L"Group Age"; // 132
    default:
        return nullptr;
    }
}

} // namespace

void wkCache_obj::groupSpinnerDown(int control) {
    if (control == kFrameSpinner)
        return;
    GetHost().Hold().Begin();
    holdGroups();
}

void wkCache_obj::groupSpinnerUp(int control, bool confirmed) {
    if (control == kFrameSpinner)
        return;
    UndoHold& hold = GetHost().Hold();
    const wchar_t* name = spinnerStepName(control);
    if (confirmed && name != nullptr && playback->groups.selected() >= 0)
        hold.Accept(name);
    else
        hold.Cancel();
}
