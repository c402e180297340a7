#include "elements/wkCacheGroup.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<const wchar_t*, kGroupModeCount> kModeLabels = {
    L"Delete", L"Hold In", L"Hold Out", L"Offset", L"Set Frame", L"Set Material ID",
};

bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

bool isIdentifierChar(wchar_t c) {
    return isDigit(c) || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}

// The comparison is written so that a NaN fails it and falls to 0.
float atLeastZero(float value) {
    return value >= 0.0f ? value : 0.0f;
}

} // namespace

const wchar_t* groupModeLabel(wkCacheGroupMode mode) {
    const auto index = static_cast<std::int32_t>(mode);
    return index >= 0 && index < kGroupModeCount ? kModeLabels[static_cast<std::size_t>(index)]
                                                 : L"";
}

WStr groupScriptName(const WStr& name) {
    const std::wstring_view text = name.view();
    std::size_t i = 0;
    while (i < text.size() && isDigit(text[i]))
        ++i;
    std::wstring out;
    for (; i < text.size(); ++i) {
        if (isIdentifierChar(text[i]))
            out += text[i];
    }
    return WStr(std::move(out));
}

void wkCacheGroup::setName(const WStr& newName) {
    name = newName;
    scriptName = groupScriptName(newName);
}

void wkCacheGroup::setMode(std::int32_t value) {
    mode = static_cast<wkCacheGroupMode>(std::clamp(value, 0, kGroupModeCount - 1));
}

void wkCacheGroup::setMaterialId(std::int32_t value) {
    materialId = std::clamp(value, 1, 99);
}

void wkCacheGroup::setAge(float value) {
    age = atLeastZero(value);
}

void wkCacheGroup::setDistance(float value) {
    distance = atLeastZero(value);
}
