#include "elements/wkCacheGroupList.h"

#include <utility>

namespace {

bool endsInDigit(const WStr& name) {
    const std::wstring_view text = name.view();
    return !text.empty() && text.back() >= L'0' && text.back() <= L'9';
}

void subtract(wkCacheGroupList::ElementSet& from, const wkCacheGroupList::ElementSet& taken) {
    for (const std::uint32_t e : taken)
        from.erase(e);
}

} // namespace

std::int32_t wkCacheGroupList::find(const WStr& name) const {
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (groups[i].name == name)
            return static_cast<std::int32_t>(i);
    }
    return -1;
}

WStr wkCacheGroupList::makeUniqueName(const WStr& name) const {
    if (!contains(name))
        return name;
    // A numbered name keeps its first five characters, which is exactly "Group" for the default
    // names; its own number is not carried on. A name of digits only is treated the same way:
    // its first five digits are its stem, so "7" gives "7001" and the user's text is kept.
    const WStr stem = endsInDigit(name) ? name.Substr(0, 5) : name;
    for (std::int32_t n = 1;; ++n) {
        WStr number;
        number.printf(L"%i", n);
        while (number.Length() < 3)
            number = WStr(L"0") + number;
        WStr candidate;
        candidate.printf(L"%s%s", stem.data(), number.data());
        if (!contains(candidate))
            return candidate;
    }
}

bool wkCacheGroupList::addGroup(const WStr& name) {
    if (name.IsEmpty() || contains(name))
        return false;
    groups.emplace_back(name);
    selectedIndex = count() - 1;
    return true;
}

void wkCacheGroupList::addDefaultGroup() {
    groups.emplace_back(makeUniqueName(WStr(L"Group001")));
}

bool wkCacheGroupList::addRecord(const wkCacheGroup& record) {
    wkCacheGroup copy = record;
    // Only a second nameless record is renamed: the unique form of an empty name is the empty
    // name itself while no group has it.
    if (copy.name.IsEmpty())
        copy.setName(makeUniqueName(copy.name));
    if (contains(copy.name))
        return false;
    groups.push_back(std::move(copy));
    return true;
}

bool wkCacheGroupList::deleteGroup(const WStr& name) {
    const std::int32_t index = find(name);
    if (index < 0)
        return false;
    groups.erase(groups.begin() + index);
    if (index == selectedIndex)
        selectedIndex = -1;
    else if (index < selectedIndex)
        --selectedIndex;
    return true;
}

void wkCacheGroupList::clear() {
    groups.clear();
    selectedIndex = -1;
}

bool wkCacheGroupList::renameGroup(const WStr& name, const WStr& newName) {
    if (newName.IsEmpty() || contains(newName))
        return false;
    const std::int32_t index = find(name);
    if (index < 0)
        return false;
    at(index).setName(newName);
    return true;
}

bool wkCacheGroupList::moveGroup(const WStr& name, std::int32_t direction) {
    if (direction == 0)
        return false;
    const std::int32_t index = find(name);
    if (index < 0)
        return false;
    const std::int32_t other = direction < 0 ? index - 1 : index + 1;
    if (other < 0 || other >= count())
        return true;
    std::swap(at(index), at(other));
    if (selectedIndex == index)
        selectedIndex = other;
    else if (selectedIndex == other)
        selectedIndex = index;
    return true;
}

bool wkCacheGroupList::setSelected(std::int32_t index) {
    if (index == selectedIndex || index < 0 || index >= count())
        return false;
    selectedIndex = index;
    return true;
}

bool wkCacheGroupList::setGroupElements(const WStr& name, const ElementSet& elements,
                                        bool exclusive) {
    const std::int32_t index = find(name);
    if (index < 0)
        return false;
    if (!exclusive) {
        at(index).elements = elements;
        return true;
    }
    for (wkCacheGroup& group : groups) {
        if (group.name == name)
            group.elements = elements;
        else
            subtract(group.elements, elements);
    }
    return true;
}

bool wkCacheGroupList::makeGroupElementsUnique(const WStr& name) {
    const std::int32_t index = find(name);
    if (index < 0)
        return false;
    const ElementSet& own = at(index).elements;
    for (std::int32_t i = 0; i < count(); ++i) {
        if (i != index)
            subtract(at(i).elements, own);
    }
    return true;
}

void wkCacheGroupList::pruneElements(std::int32_t elementCount) {
    const std::uint32_t limit = elementCount > 0 ? static_cast<std::uint32_t>(elementCount) : 0;
    for (wkCacheGroup& group : groups)
        group.elements.erase(group.elements.lower_bound(limit), group.elements.end());
}
