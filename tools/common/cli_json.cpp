#include "tools/common/cli_json.h"

#include <cmath>
#include <cstdio>

namespace wkcli {

std::string utf8(const WStr& text) {
    return text.ToCStr().str();
}

std::string floatText(double value) {
    if (!std::isfinite(value))
        return "null"; // JSON has no infinities: a hostile box shows as null
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", static_cast<double>(static_cast<float>(value)));
    return text;
}

// nlohmann's writer prints doubles with 17 digits; every float here comes from a single and
// prints with %.9g instead. Everything else is written as nlohmann writes it.
void writeJson(std::string& out, const Json& value, int depth) {
    const std::string indent(static_cast<std::size_t>(depth + 1) * 2, ' ');
    const std::string closing(static_cast<std::size_t>(depth) * 2, ' ');
    switch (value.type()) {
    case Json::value_t::object: {
        if (value.empty()) {
            out += "{}";
            return;
        }
        out += "{\n";
        bool first = true;
        for (const auto& [key, item] : value.items()) {
            out += first ? "" : ",\n";
            first = false;
            out += indent + Json(key).dump() + ": ";
            writeJson(out, item, depth + 1);
        }
        out += "\n" + closing + "}";
        return;
    }
    case Json::value_t::array: {
        if (value.empty()) {
            out += "[]";
            return;
        }
        // Numbers on one line; objects (the nodes) one to a line.
        const bool nested = value.front().is_structured();
        out += nested ? "[\n" : "[";
        bool first = true;
        for (const Json& item : value) {
            out += first ? "" : (nested ? ",\n" : ", ");
            first = false;
            if (nested)
                out += indent;
            writeJson(out, item, depth + 1);
        }
        out += nested ? "\n" + closing + "]" : "]";
        return;
    }
    case Json::value_t::number_float:
        out += floatText(value.get<double>());
        return;
    default:
        out += value.dump(-1, ' ', false, Json::error_handler_t::replace);
    }
}

Json point(const Point3& p) {
    return Json::array({p.x, p.y, p.z});
}

} // namespace wkcli
