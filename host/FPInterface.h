// Published function interfaces: how a plug-in offers functions and read-only properties to
// scripts. An interface is described once (FPInterfaceDesc: id, name, functions with their ids,
// result and argument types, keyword arguments with defaults, properties with getter ids), and
// a script reaches it through GetInterface on an object and calls Invoke with a function id.
//
// The description is written as the host takes it: a flat list of items, where a function is
// (id, name, description id, result type, flags, argument count) followed by its arguments
// (name, description id, type, and for a keyword argument the tag kFPKeywordArg and its
// default); kFPProperties starts the properties (getter id, setter id, name, description id,
// type) and kFPEnd ends the list.
#pragma once

#include "host/ClassID.h"
#include "host/ScriptValue.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

struct Interface_ID {
    std::uint32_t a = 0, b = 0;
    bool operator==(const Interface_ID&) const = default;
};

using FunctionID = std::int32_t;
inline constexpr FunctionID FP_NO_FUNCTION = -1;

// Type codes of results, arguments and properties, as the host numbers them.
enum FPType : std::int32_t {
    FPT_FLOAT = 0,
    FPT_INT = 1,
    FPT_BOOL = 4,
    FPT_STRING = 8,
    FPT_FILENAME = 9,
    FPT_TIMEVALUE = 12,
    FPT_INODE = 17,
    FPT_VOID = 46,
    FPT_INTERVAL = 47,
    FPT_NAME = 61,
    FPT_VALUE = 64,
};

// Interface flags.
inline constexpr std::int32_t FP_MIXIN = 2;

// Tags of the description list.
inline constexpr std::uint32_t kFPKeywordArg = 0xC0000011;
inline constexpr std::uint32_t kFPProperties = 0xC0000401;
inline constexpr std::uint32_t kFPEnd = 0xC0000400;

// What Invoke answers.
enum FPStatus : std::int32_t {
    FPS_NO_SUCH_FUNCTION = -1,
    FPS_FAIL = 0,
    FPS_OK = 1,
};

// A typed value: what the dispatcher hands back, and each argument it receives.
struct FPValue {
    std::int32_t type = FPT_VOID;
    Value value;
};

// The arguments of one call, in declaration order, keyword arguments included. Reading past the
// end throws the host's OutOfRangeException, as the host's array does.
class FPParams {
public:
    FPParams() = default;
    explicit FPParams(std::vector<FPValue> items_) : items(std::move(items_)) {}
    int Count() const { return static_cast<int>(items.size()); }
    const FPValue& operator[](int index) const;

private:
    std::vector<FPValue> items;
};

// One item of a description list.
struct FPDescItem {
    enum class Kind { Number, Real, Text, None };
    FPDescItem(int n) : kind(Kind::Number), number(n) {}
    FPDescItem(std::uint32_t n) : kind(Kind::Number), number(n) {}
    FPDescItem(double r) : kind(Kind::Real), real(r) {}
    FPDescItem(const wchar_t* t) : kind(t ? Kind::Text : Kind::None), text(t) {}
    FPDescItem(std::nullptr_t) : kind(Kind::None) {}
    Kind kind;
    std::int64_t number = 0;
    double real = 0.0;
    const wchar_t* text = nullptr;
};

struct FPParamDef {
    WStr name;
    std::int32_t type = FPT_VOID;
    bool keyword = false;
    Value defaultValue; // undefined for "none"
};

// Script names (functions, properties, keywords) compare without regard to case.
bool SameScriptName(WStr a, WStr b);

struct FPFunctionDef {
    FunctionID id = FP_NO_FUNCTION;
    WStr name;
    std::int32_t resultType = FPT_VOID;
    std::int32_t flags = 0;
    std::vector<FPParamDef> params;
};

struct FPPropDef {
    FunctionID getter = FP_NO_FUNCTION;
    FunctionID setter = FP_NO_FUNCTION;
    WStr name;
    std::int32_t type = FPT_VOID;
};

class FPInterfaceDesc {
public:
    // Reads the description list; a list that breaks its own grammar throws std::logic_error,
    // since descriptions are static and fixed at build time.
    FPInterfaceDesc(Interface_ID id, const wchar_t* name, int descriptionId, const void* classDesc,
                    std::int32_t flags, std::span<const FPDescItem> items);

    Interface_ID id;
    WStr internalName;
    int descriptionId;
    const void* classDesc;
    std::int32_t flags;
    std::vector<FPFunctionDef> functions;
    std::vector<FPPropDef> props;

    const FPFunctionDef* findFunction(const WStr& name) const;
    const FPPropDef* findProp(const WStr& name) const;
};

class BaseInterface {
public:
    virtual ~BaseInterface() = default;
    virtual Interface_ID GetID() const = 0;
};

class FPInterface : public BaseInterface {
public:
    virtual FPInterfaceDesc* GetDesc() = 0;
    Interface_ID GetID() const override;
    // Runs function `fid` at time t. An id the interface does not dispatch answers a status
    // other than FPS_OK: FPS_NO_SUCH_FUNCTION or FPS_FAIL, as the interface chooses. Script
    // errors and the host's out-of-range exception pass through.
    virtual FPStatus Invoke(FunctionID fid, TimeValue t, FPValue& result,
                            const FPParams& params) = 0;
};

// A mixin: an interface that is a base of the object it drives.
class FPMixinInterface : public FPInterface {};

// Calls a function of `fp` by its name as a script does: `positional` fills the arguments that
// are not keyword arguments, in order; `keywords` gives keyword arguments by name, in any case
// as every script name, the others take their defaults. Each argument is converted to its
// declared type. A wrong count, an unknown name or keyword, or a value without the declared
// form raises ScriptError.
Value CallFunction(FPInterface& fp, const WStr& name, TimeValue t,
                   const std::vector<Value>& positional,
                   const std::vector<std::pair<WStr, Value>>& keywords);
// Reads a property by name; ScriptError for an unknown one.
Value GetProperty(FPInterface& fp, const WStr& name, TimeValue t);
