// wkCacheGroupList: an object's element groups, in the order in which they act and in which the
// panel lists them, with the group selected in the panel.
//
// Groups are addressed by name; names are unique within a list and compare exactly, case
// included. Operations answer false and change nothing when they cannot do what is asked.
#pragma once

#include "elements/wkCacheGroup.h"

#include <cstdint>
#include <set>
#include <vector>

class wkCacheGroupList {
public:
    using ElementSet = std::set<std::uint32_t>;

    // ---- Reading
    std::int32_t selected() const { return selectedIndex; } // -1 for none
    std::int32_t count() const { return static_cast<std::int32_t>(groups.size()); }
    bool empty() const { return groups.empty(); }
    // No range test: index must lie in 0..count()-1.
    const wkCacheGroup& at(std::int32_t index) const {
        return groups[static_cast<std::size_t>(index)];
    }
    wkCacheGroup& at(std::int32_t index) { return groups[static_cast<std::size_t>(index)]; }
    const std::vector<wkCacheGroup>& all() const { return groups; }
    // Index of the group, or -1.
    std::int32_t find(const WStr& name) const;
    bool contains(const WStr& name) const { return find(name) >= 0; }

    // `name` if no group has it; otherwise the first free name of the stem followed by a number
    // of at least three digits: "Group001" gives "Group002", "Smoke" gives "Smoke001".
    WStr makeUniqueName(const WStr& name) const;

    // ---- Adding and removing
    // A new group with the defaults, which becomes the selected one. False for an empty name or
    // one in use.
    bool addGroup(const WStr& name);
    // A new group named after "Group001", made unique. The selection stays.
    void addDefaultGroup();
    // Appends a copy of a loaded or restored record. A record with an empty name is given a
    // unique one first; a record whose name is in use is dropped, answering false.
    bool addRecord(const wkCacheGroup& record);
    bool deleteGroup(const WStr& name);
    void clear();

    // ---- Changing
    // False for an empty new name, one in use (also the group's own) or an unknown group.
    bool renameGroup(const WStr& name, const WStr& newName);
    // Swaps the group with the one before it (direction below 0) or after it (above 0). The
    // selection follows the group it was on. Moving the first group up or the last group down
    // changes nothing and succeeds. False for a direction of 0 or an unknown group.
    bool moveGroup(const WStr& name, std::int32_t direction);
    // False when the index is already selected or not that of a group: this never clears the
    // selection.
    bool setSelected(std::int32_t index);

    // ---- Elements
    // The group's elements become `elements`. With `exclusive`, every other group loses them.
    bool setGroupElements(const WStr& name, const ElementSet& elements, bool exclusive);
    // Every other group loses the elements of this one.
    bool makeGroupElementsUnique(const WStr& name);
    // Removes from every group the indices at or above `elementCount`, before a save, so that no
    // group refers to an element the cache no longer has.
    void pruneElements(std::int32_t elementCount);

    friend bool operator==(const wkCacheGroupList&, const wkCacheGroupList&) = default;

private:
    std::int32_t selectedIndex = -1;
    std::vector<wkCacheGroup> groups;
};
