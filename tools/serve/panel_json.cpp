#include "tools/serve/panel_json.h"

#include "host/headless/HeadlessScene.h"
#include "tools/common/cli_json.h"

#include <stdexcept>
#include <string>

namespace wkserve {

namespace {

using wkcli::utf8;

const char* KindName(ControlKind kind) {
    switch (kind) {
    case ControlKind::Button:
        return "button";
    case ControlKind::CheckButton:
        return "checkButton";
    case ControlKind::CheckBox:
        return "checkBox";
    case ControlKind::Spinner:
        return "spinner";
    case ControlKind::Edit:
        return "edit";
    case ControlKind::ComboBox:
        return "comboBox";
    case ControlKind::RadioButton:
        return "radio";
    case ControlKind::ListBox:
        return "listBox";
    case ControlKind::PickButton:
        return "pickButton";
    case ControlKind::Static:
        return "static";
    case ControlKind::GroupBox:
        return "groupBox";
    case ControlKind::StatusField:
        return "status";
    }
    return "static";
}

// Runs of equal pixels, row by row: [colour, count, colour, count, ...].
Json PaintRuns(const HeadlessBitmap& bitmap) {
    Json runs = Json::array();
    std::uint32_t colour = bitmap.Pixel(0, 0);
    int count = 0;
    for (int y = 0; y < bitmap.Height(); ++y)
        for (int x = 0; x < bitmap.Width(); ++x) {
            const std::uint32_t p = bitmap.Pixel(x, y);
            if (p != colour) {
                runs.push_back(colour);
                runs.push_back(count);
                colour = p;
                count = 0;
            }
            ++count;
        }
    runs.push_back(colour);
    runs.push_back(count);
    return {{"width", bitmap.Width()}, {"height", bitmap.Height()}, {"runs", std::move(runs)}};
}

Json ControlState(const HeadlessWindow& window, const HeadlessControl& c) {
    Json out = {{"id", c.id},
                {"kind", KindName(c.kind)},
                {"text", utf8(window.GetText(c.id))},
                {"enabled", c.enabled},
                {"visible", c.visible}};
    if (c.tooltip)
        out["tooltip"] = utf8(*c.tooltip);
    if (c.kind == ControlKind::CheckBox || c.kind == ControlKind::CheckButton ||
        c.kind == ControlKind::RadioButton || c.highlight)
        out["checked"] = window.GetCheck(c.id);
    if (c.kind == ControlKind::Spinner) {
        out["value"] = window.GetSpinnerValue(c.id);
        out["low"] = c.low;
        out["high"] = c.high;
        out["isFloat"] = c.isFloat;
        out["editId"] = c.editId;
    }
    if (c.kind == ControlKind::Edit && c.spinnerId != 0)
        out["spinnerId"] = c.spinnerId;
    if (c.kind == ControlKind::ListBox || c.kind == ControlKind::ComboBox) {
        Json rows = Json::array();
        for (const HeadlessListRow& row : c.rows)
            rows.push_back({{"text", utf8(row.text)}, {"marked", row.marked}});
        out["rows"] = std::move(rows);
        out["selected"] = window.ListCurSel(c.id);
    }
    // The parameter a bound control writes, by its internal name: the page's label for
    // controls that carry no caption of their own.
    if (const ParamBinding* binding = window.BindingOf(c); binding && window.Block())
        if (const ParamDef* def = window.Block()->GetDesc().GetParamDef(binding->param))
            out["param"] = def->internalName;
    if (const HeadlessBitmap* painted = window.Painted(c.id))
        out["painted"] = PaintRuns(*painted);
    return out;
}

Json WindowState(const HeadlessWindow& window) {
    Json controls = Json::array();
    for (const HeadlessControl& c : window.Controls())
        controls.push_back(ControlState(window, c));
    Json out = {{"dialogId", window.DialogId()},
                {"title", utf8(window.Title())},
                {"closed", window.Closed()},
                {"ended", window.Result().has_value()},
                {"controls", std::move(controls)}};
    if (window.fileRequest != nullptr)
        out["file"] = {{"save", window.fileRequest->save},
                       {"extension", utf8(window.fileRequest->defaultExtension)},
                       {"filter", utf8(window.fileRequest->filterSpec)}};
    return out;
}

int IntField(const Json& action, const char* name) {
    const auto found = action.find(name);
    if (found == action.end() || !found->is_number_integer())
        throw std::invalid_argument(std::string("the action needs an integer \"") + name + "\"");
    return found->get<int>();
}

bool FlagField(const Json& action, const char* name, bool otherwise) {
    const auto found = action.find(name);
    if (found == action.end())
        return otherwise;
    if (!found->is_boolean())
        throw std::invalid_argument(std::string("\"") + name + "\" must be true or false");
    return found->get<bool>();
}

} // namespace

Json PanelState(const HeadlessPanelHost& panels) {
    Json rollouts = Json::array();
    for (const auto& rollout : panels.Rollouts())
        rollouts.push_back(WindowState(*rollout));
    Json dialogs = Json::array();
    for (const HeadlessWindow* dialog : panels.Dialogs())
        dialogs.push_back(WindowState(*dialog));
    Json pick = nullptr;
    if (PickModeCallback* mode = panels.PickMode()) {
        Json nodes = Json::array();
        for (HeadlessNode* node : panels.Scene().Nodes())
            nodes.push_back({{"name", utf8(node->GetName())}, {"pickable", mode->filter(node)}});
        pick = {{"prompt", panels.Prompts().empty() ? "" : utf8(panels.Prompts().back())},
                {"nodes", std::move(nodes)}};
    }
    return {{"rollouts", std::move(rollouts)}, {"dialogs", std::move(dialogs)}, {"pick", pick}};
}

void ApplyAction(PanelDriver& user, const Json& action) {
    if (!action.is_object() || !action.contains("do") || !action["do"].is_string())
        throw std::invalid_argument("an action is an object with \"do\"");
    const std::string verb = action["do"].get<std::string>();
    if (verb == "clickNode") {
        const auto& nodes = user.panelHost().Scene().Nodes();
        const int index = IntField(action, "node");
        if (index < -1 || index >= static_cast<int>(nodes.size()))
            throw std::invalid_argument("\"node\" is not a node of the scene");
        if (!user.clickNode(index < 0 ? nullptr : nodes[static_cast<std::size_t>(index)]))
            throw std::invalid_argument("no pick mode runs");
        return;
    }
    const int id = IntField(action, "id");
    const bool shift = FlagField(action, "shift", false);
    if (verb == "press") {
        user.press(id, shift);
    } else if (verb == "type") {
        if (!action.contains("text") || !action["text"].is_string())
            throw std::invalid_argument("\"type\" needs a \"text\"");
        user.type(id, WStr::FromUTF8(action["text"].get<std::string>()));
    } else if (verb == "drag") {
        if (!action.contains("value") || !action["value"].is_number())
            throw std::invalid_argument("\"drag\" needs a numeric \"value\"");
        user.drag(id, action["value"].get<float>(), FlagField(action, "accept", true), shift);
    } else if (verb == "choose") {
        user.choose(id, IntField(action, "row"), shift);
    } else if (verb == "doubleClick") {
        user.doubleClick(id, IntField(action, "row"));
    } else if (verb == "mark") {
        const auto rows = action.find("rows");
        if (rows == action.end() || !rows->is_array())
            throw std::invalid_argument("\"mark\" needs an array \"rows\"");
        std::vector<int> marked;
        for (const Json& row : *rows) {
            if (!row.is_number_integer())
                throw std::invalid_argument("\"rows\" holds row numbers");
            marked.push_back(row.get<int>());
        }
        user.mark(id, marked);
    } else if (verb == "focus") {
        user.focus(id);
    } else {
        throw std::invalid_argument("unknown action \"" + verb + "\"");
    }
}

} // namespace wkserve
