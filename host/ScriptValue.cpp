#include "host/ScriptValue.h"

#include "host/INode.h"
#include "host/ScriptError.h"

#include <cmath>
#include <limits>
#include <type_traits>

namespace {

[[noreturn]] void cannotConvert(const Value& value, const wchar_t* type) {
    throw ScriptError(WStr(L"Unable to convert: ") + value.ToScriptText() + WStr(L" to type: ") +
                      WStr(type));
}

// %g of a float as the script prints floats.
WStr floatText(float f) {
    WStr text;
    text.printf(L"%g", static_cast<double>(f));
    return text;
}

// Runs of set bits as "1..3, 5", 1-based.
WStr bitRuns(const BitArray& bits) {
    WStr text;
    const int n = bits.GetSize();
    for (int i = 0; i < n;) {
        if (!bits[i]) {
            ++i;
            continue;
        }
        int last = i;
        while (last + 1 < n && bits[last + 1])
            ++last;
        WStr run;
        if (last == i)
            run.printf(L"%d", i + 1);
        else
            run.printf(L"%d..%d", i + 1, last + 1);
        if (!text.IsEmpty())
            text += WStr(L", ");
        text += run;
        i = last + 1;
    }
    return text;
}

} // namespace

std::int32_t Value::toInt() const {
    if (is<std::int32_t>())
        return get<std::int32_t>();
    if (is<float>()) {
        const float f = get<float>();
        // Out of range or NaN has no integer form.
        if (!(f > -2147483904.0f && f < 2147483648.0f))
            cannotConvert(*this, L"Integer");
        return static_cast<std::int32_t>(f);
    }
    if (is<ScriptTime>())
        return get<ScriptTime>().ticks;
    if (is<bool>())
        return get<bool>() ? 1 : 0;
    cannotConvert(*this, L"Integer");
}

float Value::toFloat() const {
    if (is<float>())
        return get<float>();
    if (is<std::int32_t>())
        return static_cast<float>(get<std::int32_t>());
    if (is<ScriptTime>())
        return static_cast<float>(get<ScriptTime>().ticks);
    cannotConvert(*this, L"Float");
}

bool Value::toBool() const {
    if (is<bool>())
        return get<bool>();
    if (is<std::int32_t>())
        return get<std::int32_t>() != 0;
    cannotConvert(*this, L"Boolean");
}

WStr Value::toString() const {
    if (is<WStr>())
        return get<WStr>();
    if (is<ScriptName>())
        return get<ScriptName>().text;
    cannotConvert(*this, L"String");
}

TimeValue Value::toTime() const {
    if (is<ScriptTime>())
        return get<ScriptTime>().ticks;
    if (is<std::int32_t>() || is<float>())
        return toInt();
    cannotConvert(*this, L"Time");
}

Interval Value::toInterval() const {
    if (is<Interval>())
        return get<Interval>();
    cannotConvert(*this, L"Interval");
}

INode* Value::toNode() const {
    if (is<INode*>())
        return get<INode*>();
    if (isUndefined())
        return nullptr;
    cannotConvert(*this, L"MAXNode");
}

BitArray Value::toBitArray() const {
    return toBitArray(std::numeric_limits<int>::max());
}

BitArray Value::toBitArray(int limit) const {
    if (is<BitArray>())
        return get<BitArray>();
    if (is<Array>()) {
        BitArray bits;
        for (const Value& item : get<Array>()) {
            const std::int32_t index = item.toInt();
            if (index < 1)
                throw ScriptError(WStr(L"BitArray index must be positive: ") + item.ToScriptText());
            if (index > limit)
                continue;
            if (index > bits.GetSize())
                bits.SetSize(index, 1);
            bits.Set(index - 1);
        }
        return bits;
    }
    cannotConvert(*this, L"BitArray");
}

WStr Value::ToScriptText() const {
    return std::visit(
        [](const auto& x) -> WStr {
            using T = std::decay_t<decltype(x)>;
            WStr text;
            if constexpr (std::is_same_v<T, Undefined>) {
                return WStr(L"undefined");
            } else if constexpr (std::is_same_v<T, std::int32_t>) {
                text.printf(L"%d", x);
            } else if constexpr (std::is_same_v<T, float>) {
                text = floatText(x);
            } else if constexpr (std::is_same_v<T, bool>) {
                return WStr(x ? L"true" : L"false");
            } else if constexpr (std::is_same_v<T, WStr>) {
                return WStr(L"\"") + x + WStr(L"\"");
            } else if constexpr (std::is_same_v<T, ScriptName>) {
                return WStr(L"#") + x.text;
            } else if constexpr (std::is_same_v<T, ScriptTime>) {
                text.printf(L"%dt", x.ticks);
            } else if constexpr (std::is_same_v<T, Interval>) {
                text.printf(L"(interval %dt %dt)", x.Start(), x.End());
            } else if constexpr (std::is_same_v<T, INode*>) {
                if (!x)
                    return WStr(L"undefined");
                return WStr(L"$'") + x->GetName() + WStr(L"'");
            } else if constexpr (std::is_same_v<T, ScriptController>) {
                return WStr(L"Controller");
            } else if constexpr (std::is_same_v<T, Array>) {
                text = WStr(L"#(");
                for (std::size_t i = 0; i < x.size(); ++i) {
                    if (i)
                        text += WStr(L", ");
                    text += x[i].ToScriptText();
                }
                text += L')';
            } else {
                return WStr(L"#{") + bitRuns(x) + WStr(L"}");
            }
            return text;
        },
        v);
}
