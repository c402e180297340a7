// The group steps of the element buttons: a group's elements set, added to or taken from, each
// one undoable step.
#pragma once

#include "object/wkCache_obj.h"

#include <set>

// The group's elements become `elements`; `add` merges them into what it has, `unique` takes
// them from every other group. Unchanged without `unique`: true, and no step.
bool setGroupElementsStep(wkCache_obj& object, const WStr& name,
                          const std::set<std::uint32_t>& elements, bool add, bool unique);
// Takes `elements` out of the group.
bool removeGroupElementsStep(wkCache_obj& object, const WStr& name,
                             const std::set<std::uint32_t>& elements);
