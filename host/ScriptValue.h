// The host's script values: what a script hands to a published function and gets back.
//
// A Value is one of: undefined, integer, float, boolean, string, name, time (ticks), interval,
// node, controller, array of values, or BitArray. Conversions follow the script's rules and
// throw ScriptError with the script's wording when a value has no such form. The printed form
// (ToScriptText) is what the script shows: a BitArray lists its set bits 1-based as
// "#{1..3, 5}", an array as "#(1, 2)", a name as "#delete", a string quoted.
#pragma once

#include "host/BitArray.h"
#include "host/Strings.h"
#include "host/Time.h"

#include <cstdint>
#include <variant>
#include <vector>

class INode;
class ReferenceTarget;

struct ScriptName {
    WStr text;
    bool operator==(const ScriptName&) const = default;
};
struct ScriptTime {
    TimeValue ticks = 0;
    bool operator==(const ScriptTime&) const = default;
};
struct ScriptController {
    ReferenceTarget* control = nullptr;
    bool operator==(const ScriptController&) const = default;
};

class Value {
public:
    using Array = std::vector<Value>;
    struct Undefined {
        bool operator==(const Undefined&) const = default;
    };

    Value() = default;
    Value(std::int32_t v) : v(v) {}
    Value(float v) : v(v) {}
    Value(double d) : v(static_cast<float>(d)) {}
    Value(bool v) : v(v) {}
    Value(WStr v) : v(std::move(v)) {}
    Value(const wchar_t* v) : v(WStr(v)) {}
    Value(ScriptName v) : v(std::move(v)) {}
    Value(ScriptTime v) : v(v) {}
    Value(Interval v) : v(v) {}
    Value(INode* v) : v(v) {}
    Value(ScriptController v) : v(v) {}
    Value(Array v) : v(std::move(v)) {}
    Value(BitArray v) : v(std::move(v)) {}

    bool isUndefined() const { return std::holds_alternative<Undefined>(v); }
    template <class T> bool is() const { return std::holds_alternative<T>(v); }
    template <class T> const T& get() const { return std::get<T>(v); }
    template <class T> T& get() { return std::get<T>(v); }

    // The script's conversions; each throws ScriptError "Unable to convert: <value> to type:
    // <type>" when the value has no such form.
    std::int32_t toInt() const;  // integers, floats (truncated), times, booleans
    float toFloat() const;       // integers, floats, times
    bool toBool() const;         // booleans, and integers as 0 or not
    WStr toString() const;       // strings and names
    TimeValue toTime() const;    // times, integers and floats as ticks
    Interval toInterval() const; // intervals
    INode* toNode() const;       // nodes, and undefined as none
    BitArray toBitArray() const; // BitArrays, and arrays of integers as 1-based indices
    // The same for a caller that cuts the set to `limit` bits: indices above it are still
    // checked but not held, so a stray large index costs no memory.
    BitArray toBitArray(int limit) const;

    // The value as the script prints it.
    WStr ToScriptText() const;

    bool operator==(const Value&) const = default;

private:
    std::variant<Undefined, std::int32_t, float, bool, WStr, ScriptName, ScriptTime, Interval,
                 INode*, ScriptController, Array, BitArray>
        v;
};
