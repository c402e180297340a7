// The headless panel as the browser sees it, and the browser's actions on it.
//
// The state lists every rollout and open modal dialog with each control by id: kind, caption,
// value, enabled and visible states, tooltip, list rows and marks, and the painted status field
// as runs of colour. An action is one PanelDriver call named in JSON, so the page acts through
// exactly the code the tests drive.
#pragma once

#include "host/headless/PanelDriver.h"

#include <nlohmann/json.hpp>

namespace wkserve {

using Json = nlohmann::json;

// {"rollouts": [...], "dialogs": [...], "pick": ...}; rollouts in panel order, dialogs
// innermost last. While a pick mode runs, "pick" holds its prompt and the scene's nodes, each
// with whether the mode takes it ("nodes": [{"name", "pickable"}], by scene order); else null.
Json PanelState(const HeadlessPanelHost& panels);

// One action: {"do": "press", "id": N, "shift": false} and likewise "type" (text), "drag"
// (value, accept), "choose" (row), "mark" (rows), "doubleClick" (row), "focus"; and, in a pick
// mode, {"do": "clickNode", "node": N}: a click on the scene's node N, or on nothing (-1),
// which ends the mode. Throws std::invalid_argument for a malformed action or one the panel
// refuses, before anything changes where the shape is wrong.
void ApplyAction(PanelDriver& user, const Json& action);

} // namespace wkserve
