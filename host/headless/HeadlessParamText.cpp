// Parameters from text, for the command line's NAME=VALUE.
#include "host/headless/HeadlessParamBlock.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

std::string_view trim(std::string_view s) {
    const auto space = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!s.empty() && space(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && space(s.back()))
        s.remove_suffix(1);
    return s;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return asciiLower(x) == asciiLower(y);
           });
}

// from_chars takes no plus sign; a user may well type one.
std::string_view withoutPlus(std::string_view s) {
    if (s.size() >= 2 && s[0] == '+' && (isDigit(s[1]) || s[1] == '.'))
        s.remove_prefix(1);
    return s;
}

// A whole decimal number; beyond int it saturates, so that the range clamps it.
std::optional<int> parseWhole(std::string_view text) {
    const std::string_view s = withoutPlus(text);
    long long v = 0;
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
    if (s.empty() || end != s.data() + s.size())
        return std::nullopt;
    if (ec == std::errc::result_out_of_range)
        return s.front() == '-' ? INT_MIN : INT_MAX;
    if (ec != std::errc{})
        return std::nullopt;
    return static_cast<int>(std::clamp<long long>(v, INT_MIN, INT_MAX));
}

// A finite decimal number in single precision, read directly as a float so that it rounds
// once. Beyond the float range it saturates, below it goes to zero or a denormal.
std::optional<float> parseNumber(std::string_view text) {
    const std::string_view s = withoutPlus(text);
    const char* first = s.data();
    const char* last = s.data() + s.size();
    float f = 0.0f;
    const auto [end, ec] = std::from_chars(first, last, f);
    if (s.empty() || end != last)
        return std::nullopt;
    if (ec == std::errc::result_out_of_range) {
        long double wide = 0.0L;
        const auto [wideEnd, wideEc] = std::from_chars(first, last, wide);
        if (wideEc != std::errc{} || wideEnd != last)
            return std::nullopt;
        f = std::fabs(wide) > FLT_MAX ? std::copysign(FLT_MAX, static_cast<float>(wide))
                                      : static_cast<float>(wide);
    } else if (ec != std::errc{}) {
        return std::nullopt;
    }
    if (!std::isfinite(f))
        return std::nullopt;
    return f;
}

// The name of a parameter in a message; a shared name is told with its id.
// A range bound as people write it: 0.001, 9999999.
std::string numberText(float v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.7g", static_cast<double>(v));
    return text;
}

std::string describe(const ParamBlockDesc2& desc, const ParamDef& def) {
    const auto sharing = std::count_if(desc.params.begin(), desc.params.end(), [&](const auto& p) {
        return sameName(p.internalName, def.internalName);
    });
    if (sharing > 1)
        return std::to_string(def.id) + " (" + def.internalName + ")";
    return def.internalName;
}

const ParamDef* findByName(const ParamBlockDesc2& desc, std::string_view name, std::string& error) {
    if (name.empty()) {
        error = "empty parameter name";
        return nullptr;
    }
    if (std::all_of(name.begin(), name.end(), isDigit)) {
        const std::optional<int> id = parseWhole(name);
        const ParamDef* def =
            id && *id <= SHRT_MAX ? desc.GetParamDef(static_cast<ParamID>(*id)) : nullptr;
        if (def == nullptr)
            error = "unknown parameter \"" + std::string(name) + "\"";
        return def;
    }
    std::vector<const ParamDef*> named;
    for (const ParamDef& def : desc.params) {
        if (sameName(def.internalName, name))
            named.push_back(&def);
    }
    if (named.empty()) {
        error = "unknown parameter \"" + std::string(name) + "\"";
        return nullptr;
    }
    if (named.size() > 1) {
        error =
            "parameter name \"" + std::string(named.front()->internalName) + "\" is shared by ids";
        for (std::size_t i = 0; i < named.size(); ++i)
            error += (i == 0                  ? " "
                      : i + 1 == named.size() ? " and "
                                              : ", ") +
                     std::to_string(named[i]->id);
        error += ": give the id instead";
        return nullptr;
    }
    return named.front();
}

} // namespace

bool SetParamByName(IParamBlock2& block, std::string_view name, std::string_view value,
                    std::string& error) {
    const ParamBlockDesc2& desc = block.GetDesc();
    const ParamDef* def = findByName(desc, trim(name), error);
    if (def == nullptr)
        return false;
    const std::string who = "parameter " + describe(desc, *def);
    const std::string got = ", got \"" + std::string(value) + "\"";
    const std::string_view text = trim(value);

    bool written = false;
    switch (def->type) {
    case TYPE_FLOAT:
    case TYPE_WORLD: {
        const std::optional<float> v = parseNumber(text);
        if (!v) {
            error = who + " needs a number" + got;
            return false;
        }
        // Out of range is refused, as a bad boolean is and as scene files do, rather than
        // clamped behind the user's back.
        if (def->hasRange && !(*v >= def->rangeLowFloat && *v <= def->rangeHighFloat)) {
            error = who + " must be from " + numberText(def->rangeLowFloat) + " to " +
                    numberText(def->rangeHighFloat) + got;
            return false;
        }
        written = block.SetValue(def->id, 0, *v);
        break;
    }
    case TYPE_INT:
    case TYPE_BOOL: {
        const std::optional<int> v = parseWhole(text);
        // A bool with a range holds a choice of several (a radio group); any other is a
        // switch, and only 0 or 1 make sense for it.
        if (def->type == TYPE_BOOL && !def->hasRange) {
            if (!v || (*v != 0 && *v != 1)) {
                error = who + " needs 0 or 1" + got;
                return false;
            }
        } else if (!v) {
            error = who + " needs a whole number" + got;
            return false;
        } else if (def->hasRange && (*v < def->rangeLowInt || *v > def->rangeHighInt)) {
            error = who + " must be from " + std::to_string(def->rangeLowInt) + " to " +
                    std::to_string(def->rangeHighInt) + got;
            return false;
        }
        written = block.SetValue(def->id, 0, *v);
        break;
    }
    case TYPE_FILENAME:
        written = block.SetValue(def->id, 0,
                                 value.empty() ? AssetUser{}
                                               : AssetUser(WStr::FromUTF8(value), def->assetType));
        break;
    case TYPE_INODE:
    case TYPE_INODE_TAB:
        error = who + " holds scene nodes and cannot be set from text";
        return false;
    case TYPE_FLOAT_TAB:
        error = who + " is a table and cannot be set from text";
        return false;
    }
    if (!written)
        error = who + " cannot be set";
    return written;
}
