#include "host/headless/HeadlessParamBlock.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <iterator>
#include <utility>

namespace {

bool isIntKind(const ParamDef& def) {
    return def.type == TYPE_INT || def.type == TYPE_BOOL;
}

// Float to int without undefined behaviour: NaN is 0, values beyond int saturate.
int truncateToInt(float f) {
    if (std::isnan(f))
        return 0;
    if (f <= -2147483648.0f)
        return INT_MIN;
    if (f >= 2147483648.0f)
        return INT_MAX;
    return static_cast<int>(f);
}

// An int parameter under a float controller shows the nearest whole value between its keys,
// as a spinner of whole numbers would.
int roundToInt(float f) {
    return truncateToInt(std::round(f));
}

} // namespace

HeadlessParamBlock::HeadlessParamBlock(const ParamBlockDesc2& desc_, ReferenceMaker& owner_,
                                       UndoHold* undo_)
    : desc(desc_), owner(owner_), undo(undo_) {
    params.reserve(desc.params.size());
    for (const ParamDef& def : desc.params) {
        Param param;
        param.def = &def;
        if (!def.IsTable()) {
            Entry value;
            value.floatValue = def.defaultFloat;
            value.intValue = def.defaultInt;
            param.entries.push_back(std::move(value));
        }
        params.push_back(std::move(param));
    }
}

WStr HeadlessParamBlock::GetLocalName(ParamID id, int tabIndex) const {
    const Param* param = find(id);
    if (param == nullptr || param->def->accessor == nullptr)
        return WStr();
    return param->def->accessor->GetLocalName(&owner, id, tabIndex);
}

// ---- Lookup

const HeadlessParamBlock::Param* HeadlessParamBlock::find(ParamID id) const {
    const auto it = std::find_if(params.begin(), params.end(),
                                 [id](const Param& p) { return p.def->id == id; });
    return it == params.end() ? nullptr : &*it;
}

HeadlessParamBlock::Param* HeadlessParamBlock::find(ParamID id) {
    return const_cast<Param*>(std::as_const(*this).find(id));
}

const HeadlessParamBlock::Entry* HeadlessParamBlock::entry(ParamID id, int tabIndex) const {
    const Param* param = find(id);
    if (param == nullptr || tabIndex < 0 ||
        static_cast<std::size_t>(tabIndex) >= param->entries.size())
        return nullptr;
    return &param->entries[static_cast<std::size_t>(tabIndex)];
}

HeadlessParamBlock::Entry* HeadlessParamBlock::entry(ParamID id, int tabIndex) {
    return const_cast<Entry*>(std::as_const(*this).entry(id, tabIndex));
}

// ---- Reads

int HeadlessParamBlock::GetInt(ParamID id, TimeValue t, int tabIndex) const {
    const Param* param = find(id);
    const Entry* e = entry(id, tabIndex);
    if (e == nullptr)
        return 0;
    if (isIntKind(*param->def))
        return e->controller ? roundToInt(e->controller->GetFloatValue(t)) : e->intValue;
    if (param->def->IsFloatType())
        return truncateToInt(e->controller ? e->controller->GetFloatValue(t) : e->floatValue);
    return 0;
}

float HeadlessParamBlock::GetFloat(ParamID id, TimeValue t, int tabIndex) const {
    const Param* param = find(id);
    const Entry* e = entry(id, tabIndex);
    if (e == nullptr)
        return 0.0f;
    if (param->def->IsFloatType())
        return e->controller ? e->controller->GetFloatValue(t) : e->floatValue;
    if (isIntKind(*param->def))
        return static_cast<float>(GetInt(id, t, tabIndex));
    return 0.0f;
}

INode* HeadlessParamBlock::GetINode(ParamID id, TimeValue, int tabIndex) const {
    const Param* param = find(id);
    const Entry* e = entry(id, tabIndex);
    if (e == nullptr || (param->def->type != TYPE_INODE && param->def->type != TYPE_INODE_TAB))
        return nullptr;
    return e->node;
}

AssetUser HeadlessParamBlock::GetAssetUser(ParamID id, TimeValue) const {
    const Param* param = find(id);
    if (param == nullptr || param->def->type != TYPE_FILENAME)
        return {};
    return param->asset;
}

Control* HeadlessParamBlock::GetControllerByID(ParamID id, int tabIndex) const {
    const Entry* e = entry(id, tabIndex);
    return e == nullptr ? nullptr : e->controller.get();
}

// ---- Writes

bool HeadlessParamBlock::writeNumber(Param& param, Entry& e, TimeValue t, float asFloat,
                                     int asInt) {
    const ParamDef& def = *param.def;
    if (!def.IsFloatType() && !isIntKind(def))
        return false;
    if (def.IsFloatType() && std::isnan(asFloat))
        return false;
    hold(param);
    if (def.IsFloatType()) {
        const float v =
            def.hasRange ? std::clamp(asFloat, def.rangeLowFloat, def.rangeHighFloat) : asFloat;
        if (e.controller)
            e.controller->SetKey(t, v);
        else
            e.floatValue = v;
    } else if (isIntKind(def)) {
        const int v = def.hasRange ? std::clamp(asInt, def.rangeLowInt, def.rangeHighInt) : asInt;
        if (e.controller)
            e.controller->SetKey(t, static_cast<float>(v));
        else
            e.intValue = v;
    }
    changed(def.id);
    return true;
}

bool HeadlessParamBlock::SetValue(ParamID id, TimeValue t, int value, int tabIndex) {
    Entry* e = entry(id, tabIndex);
    if (e == nullptr)
        return false;
    return writeNumber(*find(id), *e, t, static_cast<float>(value), value);
}

bool HeadlessParamBlock::SetValue(ParamID id, TimeValue t, float value, int tabIndex) {
    Entry* e = entry(id, tabIndex);
    if (e == nullptr || std::isnan(value))
        return false;
    return writeNumber(*find(id), *e, t, value, truncateToInt(value));
}

bool HeadlessParamBlock::SetValue(ParamID id, TimeValue, INode* value, int tabIndex) {
    Entry* e = entry(id, tabIndex);
    if (e == nullptr)
        return false;
    const ParamType2 type = find(id)->def->type;
    if (type != TYPE_INODE && type != TYPE_INODE_TAB)
        return false;
    PBValidator* validator = find(id)->def->validator;
    if (validator != nullptr && !validator->Validate(value))
        return false;
    hold(*find(id));
    e->node = value;
    changed(id);
    return true;
}

bool HeadlessParamBlock::SetValue(ParamID id, TimeValue, const AssetUser& value) {
    Param* param = find(id);
    if (param == nullptr || param->def->type != TYPE_FILENAME)
        return false;
    hold(*param);
    param->asset = value;
    changed(id);
    return true;
}

// ---- Tables

int HeadlessParamBlock::Count(ParamID id) const {
    const Param* param = find(id);
    if (param == nullptr || !param->def->IsTable())
        return 0;
    return static_cast<int>(param->entries.size());
}

bool HeadlessParamBlock::Insert(ParamID id, int at, int count) {
    Param* param = find(id);
    if (param == nullptr || !param->def->IsTable())
        return false;
    const int size = static_cast<int>(param->entries.size());
    if (at < 0 || at > size || count < 0 || count > INT_MAX - size)
        return false;
    if (count == 0)
        return true;
    hold(*param);
    std::vector<Entry> fresh(static_cast<std::size_t>(count));
    param->entries.insert(param->entries.begin() + at, std::make_move_iterator(fresh.begin()),
                          std::make_move_iterator(fresh.end()));
    changed(id);
    return true;
}

bool HeadlessParamBlock::Delete(ParamID id, int at, int count) {
    Param* param = find(id);
    if (param == nullptr || !param->def->IsTable())
        return false;
    const int size = static_cast<int>(param->entries.size());
    if (at < 0 || at > size || count < 0 || count > size - at)
        return false;
    if (count == 0)
        return true;
    hold(*param);
    param->entries.erase(param->entries.begin() + at, param->entries.begin() + at + count);
    changed(id);
    return true;
}

// ---- Animation

bool HeadlessParamBlock::SetKey(ParamID id, TimeValue t, float value, int tabIndex) {
    Entry* e = entry(id, tabIndex);
    if (e == nullptr || std::isnan(value))
        return false;
    Param& param = *find(id);
    const ParamDef& def = *param.def;
    if (!def.IsAnimatable() || !(def.IsFloatType() || isIntKind(def)))
        return false;
    if (!e->controller) {
        hold(param);
        e->controller = std::make_unique<HeadlessFloatControl>();
    }
    return writeNumber(param, *e, t, value, truncateToInt(value));
}

bool HeadlessParamBlock::ClearController(ParamID id, int tabIndex) {
    Entry* e = entry(id, tabIndex);
    if (e == nullptr || !e->controller)
        return false;
    hold(*find(id));
    const float atZero = e->controller->GetFloatValue(0);
    e->floatValue = atZero;
    e->intValue = roundToInt(atZero);
    e->controller.reset();
    changed(id);
    return true;
}

// ---- Copy and notification

std::vector<HeadlessParamBlock::Entry>
HeadlessParamBlock::copyEntries(const std::vector<Entry>& entries) {
    std::vector<Entry> copy;
    copy.reserve(entries.size());
    for (const Entry& e : entries) {
        Entry& made = copy.emplace_back();
        made.floatValue = e.floatValue;
        made.intValue = e.intValue;
        made.node = e.node;
        if (e.controller)
            made.controller = std::make_unique<HeadlessFloatControl>(*e.controller);
    }
    return copy;
}

std::unique_ptr<IParamBlock2> HeadlessParamBlock::Clone(ReferenceMaker& newOwner) const {
    auto copy = std::make_unique<HeadlessParamBlock>(desc, newOwner, undo);
    for (std::size_t i = 0; i < params.size(); ++i) {
        copy->params[i].asset = params[i].asset;
        copy->params[i].entries = copyEntries(params[i].entries);
    }
    return copy;
}

// One parameter as it was before a change; undo and redo swap it with the current state.
class HeadlessParamBlock::ParamRestore final : public RestoreObj {
public:
    ParamRestore(HeadlessParamBlock& block_, ParamID id_, std::vector<Entry> entries_,
                 AssetUser asset_)
        : block(block_), id(id_), entries(std::move(entries_)), asset(std::move(asset_)) {}
    void Restore(bool) override { swap(); }
    void Redo() override { swap(); }

private:
    void swap() {
        Param& param = *block.find(id);
        std::swap(param.entries, entries);
        std::swap(param.asset, asset);
        block.changed(id);
    }
    HeadlessParamBlock& block;
    ParamID id;
    std::vector<Entry> entries;
    AssetUser asset;
};

void HeadlessParamBlock::hold(const Param& param) {
    if (undo == nullptr || !undo->Holding())
        return;
    undo->Put(std::make_unique<ParamRestore>(*this, param.def->id, copyEntries(param.entries),
                                             param.asset));
}

void HeadlessParamBlock::changed(ParamID id) {
    if (!notificationsOn)
        return;
    lastNotified = id;
    owner.NotifyRefChanged(FOREVER, this, PART_ALL, REFMSG_CHANGE, true);
}

bool HeadlessParamBlock::SetByName(std::string_view name, std::string_view value,
                                   std::string& error) {
    return SetParamByName(*this, name, value, error);
}
