// JSON output of the wkcache tool: ordered objects, and floats printed with nine significant
// digits (%.9g), which gives every single-precision value back exactly.
#pragma once

#include "host/Point.h"
#include "host/Strings.h"

#include <nlohmann/json.hpp>

#include <string>

namespace wkcli {

using Json = nlohmann::ordered_json;

std::string utf8(const WStr& text);
// %.9g of the value as a float; "null" for infinities and NaN, which JSON cannot hold.
std::string floatText(double value);
// Indented JSON with floats as floatText. Arrays of numbers stay on one line, arrays of
// arrays or objects put one item to a line.
void writeJson(std::string& out, const Json& value, int depth = 0);
Json point(const Point3& p);

} // namespace wkcli
