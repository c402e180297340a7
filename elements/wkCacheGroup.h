// wkCacheGroup: a named set of element indices with one action, the record behind each entry of
// an object's group list.
//
// The record is plain state: the list, the panels and the stored form read its fields directly.
// The setters are the way the panels and scripts change it, and keep the invariants of the
// values a user can enter; a record read back from a scene may hold values outside them (a mode
// of 9, say), which the evaluation then ignores.
#pragma once

#include "host/Strings.h"

#include <cstdint>
#include <set>

// The action of a group, as stored. The type is wide enough for any stored value: only 0 to 5
// act.
// clang-format off
enum class wkCacheGroupMode : std::int32_t {
    Delete = 0, HoldIn = 1, HoldOut = 2, Offset = 3, SetFrame = 4, SetMaterialId = 5,
};
// clang-format on

inline constexpr int kGroupModeCount = 6;
// String table ids of the mode labels, in list order.
inline constexpr int kGroupModeLabelFirstId = 75;

// The label the mode list shows ("Delete", "Hold In", ...), string kGroupModeLabelFirstId + mode;
// empty for a value outside the modes.
const wchar_t* groupModeLabel(wkCacheGroupMode mode);

// The name reduced to an identifier: leading digits dropped, then only ASCII letters and digits
// kept. "123 Rock!" gives "Rock".
WStr groupScriptName(const WStr& name);

struct wkCacheGroup {
    // Stored groups older than this cannot be read; saving always writes it.
    static constexpr std::int32_t kStoredVersion = 5;

    wkCacheGroup() = default;
    explicit wkCacheGroup(const WStr& name_) { setName(name_); }

    std::int32_t version = 1; // after a load, the version that was read
    std::int32_t reserved = 0;
    WStr name;       // unique within a list, compared exactly
    WStr scriptName; // derived from name
    bool enabled = true;
    wkCacheGroupMode mode = wkCacheGroupMode::HoldIn;
    float offset = 0.0f;           // frames, for Offset
    std::int32_t materialId = 0;   // for Set Material ID: 1..99 once set
    bool respectActivation = true; // act only once the element's activation has come
    bool byDistance = false;       // Delete: by distance to the gizmo
    float distance = 0.0f;         // scene units
    bool byAge = false;            // Delete: by age
    float age = 0.0f;              // frames
    std::set<std::uint32_t> elements;

    // Stores the name and derives scriptName from it.
    void setName(const WStr& newName);
    // 0..5; anything negative gives 0, anything above gives 5.
    void setMode(std::int32_t value);
    // 1..99.
    void setMaterialId(std::int32_t value);
    // At least 0; a NaN gives 0.
    void setAge(float value);
    void setDistance(float value);
    void setOffset(float value) { offset = value; }

    friend bool operator==(const wkCacheGroup&, const wkCacheGroup&) = default;
};
