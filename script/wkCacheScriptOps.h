// The work behind the functions of WK_Cache_Fns that do more than call one object operation:
// value conversions, the group lookup that raises, the element selection, the cache's facts and
// the registry report.
#pragma once

#include "host/FPInterface.h"

class wkCache_obj;
struct wkCacheGroup;
namespace WelkardTools {
class wkCacheReader;
}

namespace wkCacheScript {

// The object's reader when it has loaded without error and holds elements; else null.
const WelkardTools::wkCacheReader* usableReader(wkCache_obj& object);
// The group of that exact name; raises "No group with that name exists".
const wkCacheGroup& existingGroup(wkCache_obj& object, const WStr& name);

// A file name for `record`: ".wkc" appended unless the name is longer than four characters
// and ends in it, in any case. Undefined records the object's own file.
bool record(wkCache_obj& object, const Value& fileName);
// #(#(index, name), ...), 0-based, for the names that match the pattern ("*" if empty).
Value elementNames(wkCache_obj& object, const WStr& pattern);
Value elementSelection(wkCache_obj& object);
Value setElementSelection(wkCache_obj& object, const Value& indices);
// A named group takes the element selection when addSelected is set; an unnamed one gets a
// unique name and always takes it.
bool addGroup(wkCache_obj& object, const WStr& name, bool addSelected);
Value selectedGroupName(wkCache_obj& object);
Value groupModeName(const wkCacheGroup& group);
bool setGroupMode(wkCache_obj& object, const WStr& name, const Value& mode);
Value groupElements(const wkCacheGroup& group);
enum class ElementChange { Set, Add, Remove };
bool changeGroupElements(wkCache_obj& object, const WStr& name, const Value& indices,
                         ElementChange change);
bool setGroupMatID(wkCache_obj& object, const WStr& name, std::int32_t matID);
// A property that reads the cache: 0 or false without a usable reader.
FPValue cacheFact(wkCache_obj& object, FunctionID getter);
// Every open cache and the nodes that show it, to the listener.
void debugPrint();
// Explode with the script flag (the scene's selection stays); the new nodes as an array.
Value explode(wkCache_obj& object, const FPParams& p);
// Key reduction of a node's transform controllers, a controller, or an array of these; raises
// for any other value.
bool reduceKeys(wkCache_obj& object, const FPParams& p);

} // namespace wkCacheScript
