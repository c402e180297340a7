// Class identity of the host's plug-in classes: the superclass (what kind of thing a class is)
// and the two-word Class_ID (which class exactly).
#pragma once

#include <compare>
#include <cstdint>

using SClass_ID = std::uint32_t;

// Superclasses of scene objects and of what materials are made of.
inline constexpr SClass_ID GEOMOBJECT_CLASS_ID = 0x10;
inline constexpr SClass_ID CAMERA_CLASS_ID = 0x20;
inline constexpr SClass_ID LIGHT_CLASS_ID = 0x30;
inline constexpr SClass_ID SHAPE_CLASS_ID = 0x40;
inline constexpr SClass_ID HELPER_CLASS_ID = 0x50;

class Class_ID {
public:
    constexpr Class_ID() = default;
    constexpr Class_ID(std::uint32_t a, std::uint32_t b) : a_(a), b_(b) {}

    constexpr std::uint32_t PartA() const { return a_; }
    constexpr std::uint32_t PartB() const { return b_; }

    constexpr bool operator==(const Class_ID&) const = default;
    constexpr auto operator<=>(const Class_ID&) const = default;

private:
    std::uint32_t a_ = 0xFFFFFFFFu;
    std::uint32_t b_ = 0xFFFFFFFFu;
};

// The triangle mesh object: what every geometry converts to for recording.
inline constexpr Class_ID triObjectClassID{0x0009, 0};
// The two light classes that recording and activation tell apart.
inline constexpr Class_ID OMNI_LIGHT_CLASS_ID{0x1011, 0};
inline constexpr Class_ID SPOT_LIGHT_CLASS_ID{0x1012, 0};
