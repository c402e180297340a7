#include "host/FPInterface.h"

#include "host/OutOfRangeException.h"
#include "host/ScriptError.h"

#include <stdexcept>

const FPValue& FPParams::operator[](int index) const {
    if (index < 0 || index >= Count())
        throw MaxSDK::Util::OutOfRangeException("FPParams index out of range");
    return items[static_cast<std::size_t>(index)];
}

namespace {

// Walks a description list, item by item.
class DescReader {
public:
    explicit DescReader(std::span<const FPDescItem> items_) : items(items_) {}

    const FPDescItem& next() {
        if (at == items.size())
            throw std::logic_error("interface description ends without its end tag");
        return items[at++];
    }
    const FPDescItem& peek() {
        if (at == items.size())
            throw std::logic_error("interface description ends without its end tag");
        return items[at];
    }
    std::int64_t number() {
        const FPDescItem& item = next();
        if (item.kind != FPDescItem::Kind::Number)
            throw std::logic_error("interface description: a number was expected");
        return item.number;
    }
    WStr text() {
        const FPDescItem& item = next();
        if (item.kind != FPDescItem::Kind::Text)
            throw std::logic_error("interface description: a name was expected");
        return WStr(item.text);
    }
    bool isTag(std::uint32_t tag) {
        const FPDescItem& item = peek();
        return item.kind == FPDescItem::Kind::Number && item.number == tag;
    }

private:
    std::span<const FPDescItem> items;
    std::size_t at = 0;
};

// A default from the list, in the form of the argument's type.
Value defaultValue(const FPDescItem& item, std::int32_t type) {
    switch (item.kind) {
    case FPDescItem::Kind::None:
        return Value();
    case FPDescItem::Kind::Text:
        return type == FPT_NAME ? Value(ScriptName{WStr(item.text)}) : Value(WStr(item.text));
    case FPDescItem::Kind::Real:
        return Value(item.real);
    case FPDescItem::Kind::Number:
        break;
    }
    const auto n = static_cast<std::int32_t>(item.number);
    if (type == FPT_FLOAT)
        return Value(static_cast<float>(n));
    if (type == FPT_TIMEVALUE)
        return Value(ScriptTime{n});
    return Value(n);
}

// The value in the form the dispatcher reads for `type`. Booleans travel as integers, as the
// host passes them; "none" stays undefined.
Value convertArgument(const Value& value, std::int32_t type) {
    if (value.isUndefined() && type != FPT_BOOL && type != FPT_INT && type != FPT_FLOAT)
        return value;
    switch (type) {
    case FPT_FLOAT:
        return Value(value.toFloat());
    case FPT_INT:
        return Value(value.toInt());
    case FPT_BOOL:
        return value.is<bool>() ? Value(std::int32_t{value.get<bool>() ? 1 : 0})
                                : Value(value.toInt());
    case FPT_STRING:
    case FPT_FILENAME:
        return Value(value.toString());
    case FPT_NAME:
        return Value(ScriptName{value.toString()});
    case FPT_TIMEVALUE:
        return Value(ScriptTime{value.toTime()});
    case FPT_INTERVAL:
        return Value(value.toInterval());
    case FPT_INODE:
        return Value(value.toNode());
    default:
        return value;
    }
}

// The result as the script sees it: booleans as true or false.
Value scriptResult(const FPValue& result) {
    if (result.type == FPT_BOOL && result.value.is<std::int32_t>())
        return Value(result.value.get<std::int32_t>() != 0);
    if (result.type == FPT_VOID)
        return Value();
    return result.value;
}

Value invoke(FPInterface& fp, FunctionID id, const WStr& name, TimeValue t,
             const FPParams& params) {
    FPValue result;
    if (fp.Invoke(id, t, result, params) != FPS_OK)
        throw ScriptError(WStr(L"Call failed: ") + name);
    return scriptResult(result);
}

} // namespace

FPInterfaceDesc::FPInterfaceDesc(Interface_ID id_, const wchar_t* name, int descriptionId_,
                                 const void* classDesc_, std::int32_t flags_,
                                 std::span<const FPDescItem> items)
    : id(id_), internalName(name), descriptionId(descriptionId_), classDesc(classDesc_),
      flags(flags_) {
    DescReader in(items);
    while (!in.isTag(kFPProperties) && !in.isTag(kFPEnd)) {
        FPFunctionDef f;
        f.id = static_cast<FunctionID>(in.number());
        f.name = in.text();
        in.number(); // description string id
        f.resultType = static_cast<std::int32_t>(in.number());
        f.flags = static_cast<std::int32_t>(in.number());
        const std::int64_t count = in.number();
        for (std::int64_t i = 0; i < count; ++i) {
            FPParamDef p;
            p.name = in.text();
            in.number(); // description string id
            p.type = static_cast<std::int32_t>(in.number());
            if (in.isTag(kFPKeywordArg)) {
                in.next();
                p.keyword = true;
                p.defaultValue = defaultValue(in.next(), p.type);
            }
            f.params.push_back(std::move(p));
        }
        functions.push_back(std::move(f));
    }
    if (in.isTag(kFPProperties)) {
        in.next();
        while (!in.isTag(kFPEnd)) {
            FPPropDef p;
            p.getter = static_cast<FunctionID>(in.number());
            p.setter = static_cast<FunctionID>(in.number());
            p.name = in.text();
            in.number(); // description string id
            p.type = static_cast<std::int32_t>(in.number());
            props.push_back(std::move(p));
        }
    }
}

bool SameScriptName(WStr a, WStr b) {
    return a.toLower() == b.toLower();
}

const FPFunctionDef* FPInterfaceDesc::findFunction(const WStr& name) const {
    for (const FPFunctionDef& f : functions)
        if (SameScriptName(f.name, name))
            return &f;
    return nullptr;
}

const FPPropDef* FPInterfaceDesc::findProp(const WStr& name) const {
    for (const FPPropDef& p : props)
        if (SameScriptName(p.name, name))
            return &p;
    return nullptr;
}

Interface_ID FPInterface::GetID() const {
    return const_cast<FPInterface*>(this)->GetDesc()->id;
}

Value CallFunction(FPInterface& fp, const WStr& name, TimeValue t,
                   const std::vector<Value>& positional,
                   const std::vector<std::pair<WStr, Value>>& keywords) {
    const FPFunctionDef* f = fp.GetDesc()->findFunction(name);
    if (!f)
        throw ScriptError(WStr(L"Unknown property: \"") + name + WStr(L"\" in ") +
                          fp.GetDesc()->internalName);
    std::size_t required = 0;
    for (const FPParamDef& p : f->params)
        required += p.keyword ? 0 : 1;
    if (required != positional.size()) {
        WStr text;
        text.printf(L"Argument count error: %s wanted %d, got %d", f->name.data(),
                    static_cast<int>(required), static_cast<int>(positional.size()));
        throw ScriptError(text);
    }
    std::vector<FPValue> args;
    std::size_t next = 0;
    std::vector<bool> used(keywords.size(), false);
    for (const FPParamDef& p : f->params) {
        Value given = p.defaultValue;
        if (!p.keyword)
            given = positional[next++];
        for (std::size_t k = 0; k < keywords.size() && p.keyword; ++k)
            if (SameScriptName(keywords[k].first, p.name)) {
                given = keywords[k].second;
                used[k] = true;
            }
        args.push_back(FPValue{p.type, convertArgument(given, p.type)});
    }
    for (std::size_t k = 0; k < keywords.size(); ++k)
        if (!used[k])
            throw ScriptError(WStr(L"Unknown keyword argument: ") + keywords[k].first +
                              WStr(L" in ") + f->name);
    return invoke(fp, f->id, f->name, t, FPParams(std::move(args)));
}

Value GetProperty(FPInterface& fp, const WStr& name, TimeValue t) {
    const FPPropDef* p = fp.GetDesc()->findProp(name);
    if (!p)
        throw ScriptError(WStr(L"Unknown property: \"") + name + WStr(L"\" in ") +
                          fp.GetDesc()->internalName);
    return invoke(fp, p->getter, p->name, t, FPParams());
}
